// A codec plug-in with the nine exports, loaded by path: this plug-in hands
// MPEG payloads to its sibling through it.
#pragma once

#include <string>

#include "WavePlugin.h"
#include "wave/XDLL.h"

class clQvDecoder : public XDLL {
 public:
  ~clQvDecoder() override;
  // Loads the library and resolves all nine entry points; an empty path only
  // forgets them. A second load on a held module answers as the first did.
  virtual bool Load(const std::u16string& path);
  // Destroys the codec instance, frees the library and forgets everything.
  void Reset();

  bool loaded = false;
  std::u16string extension;
  std::u16string libraryPath;
  void* instance = nullptr;

  WaveCreateFn Create = nullptr;
  WaveDestroyFn Destroy = nullptr;
  WaveGetFn Get = nullptr;
  WaveSetFn Set = nullptr;
  WaveOpenFn Open = nullptr;
  WaveCloseFn Close = nullptr;
  WaveDecodeBlockFn DecodeBlock = nullptr;
  WaveSetPositionFn SetPosition = nullptr;
  WaveDeleteATagFn DeleteATag = nullptr;
};
