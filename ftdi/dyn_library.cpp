#include "ftdi/dyn_library.h"

#include <dlfcn.h>

#include "driver/messages.h"

dyn_library::dyn_library(const char* file_name) : name(file_name) {
  handle = dlopen(file_name, RTLD_NOW);
  if (handle == nullptr) {
    fail(status_usage, "Can't load library '%s' (%s)\n", name.c_str(), last_error());
  }
}

dyn_library::~dyn_library() {
  if (handle != nullptr) dlclose(handle);
}

void* dyn_library::symbol(const char* function_name) const {
  dlerror();  // a stale error must not be reported for this look-up
  return dlsym(handle, function_name);
}

const char* dyn_library::last_error() {
  const char* why = dlerror();
  return why != nullptr ? why : "";
}
