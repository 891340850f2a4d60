// The one-time return to the real user and group once hardware access (I/O
// port permissions, the USB device) has been obtained.
#pragma once

// setgid(getgid()) then setuid(getuid()) the first time; later calls do nothing.
void drop_privileges();
