#include "wave/clQvDecoder.h"

namespace {
template <typename Fn>
bool Resolve(const XDLL& module, const char* name, Fn& entry) {
  entry = reinterpret_cast<Fn>(module.Symbol(name));
  return entry != nullptr;
}
}  // namespace

clQvDecoder::~clQvDecoder() { Reset(); }

bool clQvDecoder::Load(const std::u16string& path) {
  if (path.empty()) {
    Create = nullptr, Destroy = nullptr, Get = nullptr, Set = nullptr, Open = nullptr, Close = nullptr;
    DecodeBlock = nullptr, SetPosition = nullptr, DeleteATag = nullptr;
    loaded = false;
    return false;
  }
  if (HasLibrary()) return loaded;
  loaded = true;
  if (!LoadFrom(path)) return loaded = false;
  // Any entry point missing makes the whole library unusable.
  loaded = Resolve(*this, "Create", Create) && Resolve(*this, "Destroy", Destroy) && Resolve(*this, "Get", Get) &&
           Resolve(*this, "Set", Set) && Resolve(*this, "Open", Open) && Resolve(*this, "Close", Close) &&
           Resolve(*this, "DecodeBlock", DecodeBlock) && Resolve(*this, "SetPosition", SetPosition) &&
           Resolve(*this, "DeleteATag", DeleteATag);
  return loaded;
}

void clQvDecoder::Reset() {
  if (instance && Destroy) Destroy(instance);
  instance = nullptr;
  Unload();
  Load({});
  extension.clear();
  libraryPath.clear();
}
