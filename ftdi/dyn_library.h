// One shared library loaded at run time with dlopen; unloaded when the object
// goes. The D2XX binding builds on it.
#pragma once

#include <string>

class dyn_library {
 public:
  // Loads the file with RTLD_NOW; on failure prints "Can't load library ..."
  // and throws app_error 70.
  explicit dyn_library(const char* file_name);
  virtual ~dyn_library();
  dyn_library(const dyn_library&) = delete;
  dyn_library& operator=(const dyn_library&) = delete;

  // The address of a symbol, or null (dlerror() then tells why).
  void* symbol(const char* function_name) const;
  const char* file_name() const { return name.c_str(); }
  // The text of the last dlopen/dlsym failure ("" when there is none).
  static const char* last_error();

 protected:
  std::string name;
  void* handle = nullptr;
};
