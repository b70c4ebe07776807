#include <dlfcn.h>

#include "io/Text.h"
#include "wave/XDLL.h"

bool XDLL::LoadFrom(const std::u16string& path) {
  Unload();
  module_ = dlopen(WideToUtf8(path).c_str(), RTLD_NOW | RTLD_LOCAL);
  return module_ != nullptr;
}

void* XDLL::Symbol(const char* name) const { return module_ ? dlsym(module_, name) : nullptr; }

void XDLL::Unload() {
  if (module_) dlclose(module_);
  module_ = nullptr;
}

std::u16string OwnModulePath() {
  // The object that holds this function is the plug-in, not the host's executable.
  Dl_info info{};
  if (!dladdr(reinterpret_cast<void*>(&OwnModulePath), &info) || !info.dli_fname) return {};
  return Utf8ToWide(info.dli_fname);
}

std::u16string_view Mp3SiblingName() { return u"mp3.so"; }
