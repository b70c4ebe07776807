// One loaded library module; the destructor frees it.
#pragma once

#include <string>

class XDLL {
 public:
  XDLL() = default;
  virtual ~XDLL();
  XDLL(const XDLL&) = delete;
  XDLL& operator=(const XDLL&) = delete;

  // Loads the library at `path`; false when it cannot be loaded.
  bool LoadFrom(const std::u16string& path);
  // The address of an exported name; null when the module lacks it or none is loaded.
  void* Symbol(const char* name) const;
  // Frees the module, if one is held.
  void Unload();
  bool HasLibrary() const { return module_ != nullptr; }

 private:
  void* module_ = nullptr;
};

// Full path of the file this library's code was loaded from; empty when unknown.
std::u16string OwnModulePath();
// The sibling MPEG plug-in's file name on this platform.
std::u16string_view Mp3SiblingName();
// The path of `fileName` in the directory of this library's own module file.
std::u16string SiblingPath(std::u16string_view fileName);
