// The texts that describe a wave format to the user and in the trace log:
// quality class, channel layout, format name and the one-line header dump.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "wave/WFX.h"

struct FormatTagNameEntry {
  std::uint16_t tag;
  std::u16string_view name;
};

// "CD (Lossless)", "Medium (Lossy)" and the like, from format type, depth, rate and per-channel bitrate.
std::u16string QualityName(const WFX& wfx);
// The speakers of the channel mask, else the usual layout for the channel count; empty when there is none.
std::u16string ChannelLayoutText(const WFX& wfx);
// "Format Tag: ... CB Size: n", plus the SubFormat's type for the extensible form.
std::u16string WfxText(const WFX& wfx);
// The installed decoder's name for the on-file format, else the built-in name marked as not installed.
std::u16string FormatTagName(const WFX& onFile);

// The built-in names of the registered format tags, one a tag.
std::span<const FormatTagNameEntry> BuiltInFormatTagNames();
// The built-in name of a tag; empty when it has none.
std::u16string_view BuiltInFormatTagName(std::uint16_t tag);
// The name the installed decoder gives a format tag; nullopt when no decoder is installed for it.
std::optional<std::u16string> AcmFormatTagName(std::uint16_t tag, std::uint32_t formatSize);
