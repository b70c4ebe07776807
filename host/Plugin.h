// The plug-in as the host sees it: a library and its nine entry points.
#pragma once

#include <string>

#include "WavePlugin.h"

struct Plugin {
  void* library = nullptr;
  WaveCreateFn Create = nullptr;
  WaveDestroyFn Destroy = nullptr;
  WaveOpenFn Open = nullptr;
  WaveCloseFn Close = nullptr;
  WaveDecodeBlockFn DecodeBlock = nullptr;
  WaveSetPositionFn SetPosition = nullptr;
  WaveGetFn Get = nullptr;
  WaveSetFn Set = nullptr;
  WaveDeleteATagFn DeleteATag = nullptr;

  // Loads the library and resolves all nine names, or explains why not.
  bool Load(const std::string& path, std::string& error);
  ~Plugin();
};
