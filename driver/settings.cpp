#include "driver/settings.h"

run_settings settings;
