// The debounced wait for the adapter's push-button (-k, -K), used by the
// program entry once the adapter exists.
#pragma once

// The key state once three successive samples, 20 ms apart, agree.
bool read_key_stable();
// "Press ADAPTER KEY for continue.": waits for a release, then a press.
void wait_adapter_key();
