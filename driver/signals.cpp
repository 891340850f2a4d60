#include "driver/signals.h"

#include <csignal>

#include "driver/messages.h"
#include "driver/process_state.h"

namespace {

// Written by the handler, read and cleared by the main flow.
volatile sig_atomic_t terminate_requested = 0;
volatile sig_atomic_t last_signal = 0;
bool installed = false;
const process_state_reset reset_signals{[] {
  terminate_requested = 0;
  last_signal = 0;
}};

const int handled_signals[] = {SIGQUIT, SIGINT, SIGTERM, SIGHUP};  // a closed terminal too

extern "C" void on_termination_signal(int sig) {
  terminate_requested = 1;
  last_signal = sig;
  signal(sig, on_termination_signal);  // keep catching where delivery resets the handler
}

void install_signal_handlers() {
  if (installed) return;
  for (int s : handled_signals) signal(s, on_termination_signal);
  installed = true;
}

void remove_signal_handlers() {
  if (!installed) return;
  for (int s : handled_signals) signal(s, SIG_DFL);
  installed = false;
}

// Installs the handlers at the first check and restores the defaults at exit.
struct signal_guard {
  signal_guard() { install_signal_handlers(); }
  ~signal_guard() { remove_signal_handlers(); }
};

}  // namespace

void ignore_output_signals() {
  signal(SIGPIPE, SIG_IGN);
  signal(SIGXFSZ, SIG_IGN);
}

void check_terminated() {
  static signal_guard guard;
  if (!terminate_requested) return;
  terminate_requested = 0;
  fail(status_terminated, "\nTerminated by user (%s)\n\n", signal_name());
}

const char* signal_name() {
  switch (last_signal) {
    case SIGQUIT: return "SIGQUIT";
    case SIGINT: return "SIGINT";
    case SIGTERM: return "SIGTERM";
    case SIGHUP: return "SIGHUP";
    default: return "unknown signal";
  }
}
