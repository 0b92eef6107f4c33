// A shared library loaded on first use, and the functions found in it. Loading is for the life of the
// program: libraries such as GLib start threads and register types that cannot be unloaded.
#pragma once

#include <dlfcn.h>

#include <string>

#include "support/expected.hpp"

namespace orvanta {

class LoadedLibrary {
 public:
  // Loads `name` (a file name the dynamic loader searches for). The error is the loader's message.
  [[nodiscard]] static expected<LoadedLibrary, std::string> open(const std::string& name) {
    void* handle = ::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
      const char* message = ::dlerror();
      return unexpected(message != nullptr ? std::string(message) : name + ": cannot be loaded");
    }
    return LoadedLibrary(handle);
  }

  // Sets `into` to the function called `symbol`; false (and `into` null) when the library lacks it.
  template <class Function>
  bool find(Function& into, const char* symbol) const {
    into = reinterpret_cast<Function>(::dlsym(handle_, symbol));
    return into != nullptr;
  }

 private:
  explicit LoadedLibrary(void* handle) : handle_(handle) {}
  void* handle_;
};

}  // namespace orvanta
