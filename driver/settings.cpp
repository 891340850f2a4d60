#include "driver/settings.h"

#include "driver/process_state.h"

run_settings settings;
const process_state_reset reset_settings{[] { settings = run_settings{}; }};
