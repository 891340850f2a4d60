// The banner printed at the start of every run: title and attribution,
// version with its build stamp, web address, bug-report address.
#pragma once

// The whole banner text, beginning with an empty line.
const char* banner_text();
