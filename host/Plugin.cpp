#include "host/Plugin.h"

#include "host/HostPlatform.h"

namespace {
template <typename Fn>
bool Resolve(void* library, const char* name, Fn& out, std::string& error) {
  out = reinterpret_cast<Fn>(PluginSymbol(library, name));
  if (!out) error = std::string("the plug-in does not export ") + name;
  return out != nullptr;
}
}  // namespace

bool Plugin::Load(const std::string& path, std::string& error) {
  library = LoadPluginLibrary(path, error);
  if (!library) {
    error = "cannot load " + path + ": " + error;
    return false;
  }
  return Resolve(library, "Create", Create, error) && Resolve(library, "Destroy", Destroy, error) &&
         Resolve(library, "Open", Open, error) && Resolve(library, "Close", Close, error) &&
         Resolve(library, "DecodeBlock", DecodeBlock, error) && Resolve(library, "SetPosition", SetPosition, error) &&
         Resolve(library, "Get", Get, error) && Resolve(library, "Set", Set, error) &&
         Resolve(library, "DeleteATag", DeleteATag, error);
}

Plugin::~Plugin() {
  if (library) FreePluginLibrary(library);
}
