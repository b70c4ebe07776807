#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <string>

#include "host/HostPlatform.h"

void* LoadPluginLibrary(const std::string& path, std::string& error) {
  void* lib = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!lib) error = dlerror();
  return lib;
}

void* PluginSymbol(void* library, const char* name) { return dlsym(library, name); }
void FreePluginLibrary(void* library) { dlclose(library); }
const char* PluginFileName() { return "Wave.so"; }

std::string ExecutableDirectory() {
  char buf[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
  if (n <= 0) return "./";
  std::string path(buf, std::size_t(n));
  return path.substr(0, path.find_last_of('/') + 1);
}
