#include "driver/program_entry.h"

#include <cstring>
#include <exception>
#include <new>

#include "adapter/spi_adapter.h"
#include "driver/adapter_key.h"
#include "driver/banner.h"
#include "driver/command_line.h"
#include "driver/messages.h"
#include "driver/privileges.h"
#include "driver/settings.h"
#include "driver/signals.h"
#include "driver/timer.h"
#include "isp/current_chip.h"
#include "isp/power.h"
#include "lpt/create_adapter.h"
#include "programming/input_files.h"
#include "programming/run_programming.h"

namespace {

void echo_command(int argc, char** argv) {
  report(2, "Command:\n ");
  for (int i = 1; i < argc; ++i) {
    if (strpbrk(argv[i], " \t") != nullptr) {
      report(2, " \"%s\"", argv[i]);
    } else {
      report(2, " %s", argv[i]);
    }
  }
  report(2, "\n");
}

void start_job() {
  if (settings.wait_key_early) {
    create_adapter(settings.adapter_text, settings.port_text, current_adapter_options());
    wait_adapter_key();
    load_input_files();
    power_up();
  } else {
    load_input_files();
    create_adapter(settings.adapter_text, settings.port_text, current_adapter_options());
    power_up();
    if (settings.wait_key) wait_adapter_key();
  }
}

// Runs one of the shutdown steps; a failure there is shown and becomes the status.
template <typename Step>
void guarded(int& status, Step step) {
  try {
    step();
  } catch (const app_error& e) {
    report(0, "%s\n", e.what());
    status = e.code;
  }
}

}  // namespace

int program_entry(int argc, char** argv) {
  // Before anything is read or parsed: a set-uid install goes on as the user
  // who started it, and only the opening of the hardware takes its rights back.
  try {
    switch_to_real_user();
  } catch (const app_error& e) {
    report(0, "%s\n", e.what());
    return e.code;
  }
  ignore_output_signals();
  timer total;
  total.start();
  report(2, "%s", banner_text());
  if (argc < 2) {
    report(0, "Nothing to do!\n%s\n", help_hint);
    return status_ok;
  }
  echo_command(argc, argv);

  int status = status_ok;
  try {
    parse_command_line(argc, argv);
    check_combination();
    start_job();
    run_programming();
    total.stop();
    if (current_adapter) current_adapter->set_led_ok(true);
    report(2, "Total time %s\n", format_time(total.elapsed_ms(), 1));
  } catch (const std::bad_alloc&) {
    report(0, "Can't allocate memory\n");
    status = status_no_memory;
  } catch (const app_error& e) {
    report(0, "%s\n", e.what());
    status = e.code;
  } catch (const std::exception& e) {
    report(0, "%s\n", e.what());
    status = status_other;
  }

  if (status != status_ok && current_adapter) guarded(status, [] { current_adapter->set_led_error(true); });
  guarded(status, [] { power_down(); });
  // Released here rather than at exit, so that a failure to let go of the
  // port still becomes the exit status.
  if (current_adapter) guarded(status, [] { current_adapter->release(); });
  return status;
}
