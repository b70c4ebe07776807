// The fixed answers of Get: what the codec decodes and its tagging option pages.
#pragma once

#include <array>
#include <string_view>

struct OptionDescriptor {
  std::u16string_view name;
  std::u16string_view registryValue;           // relative to the tagging key's parent
  std::array<std::u16string_view, 5> choices;  // empty past the last choice
};

inline constexpr std::array<std::u16string_view, 8> kStreamingMimeTypes = {
    u"audio/wav",  u"application/wav",  u"audio/x-wav",  u"application/x-wav",
    u"audio/wave", u"application/wave", u"audio/x-wave", u"application/x-wave"};

// The stored number of a choice is its position; the padding sizes are
// listed 2, 1, 4, 8, 16 KB on purpose, and the LIST positions have two
// blanks between the bracket groups.
inline constexpr std::array<OptionDescriptor, 8> kTagOptions = {{
    {u"Tag Creation", u"Tagging\\WaveTagDefault", {u"(default - LIST & ID3)", u"LIST", u"(none)", u"ID3", u""}},
    {u"LIST Chunk Position",
     u"Tagging\\WaveLISTPos",
     {u"[data]  [LIST]", u"[LIST]  [optional padding]  [data]", u"", u"", u""}},
    {u"LIST Album Tag", u"Tagging\\WaveLISTAlbum", {u"IPRD", u"ISRC", u"", u"", u""}},
    {u"LIST Track Tag", u"Tagging\\WaveLISTTrack", {u"ITRK", u"TRCK", u"itrk", u"", u""}},
    {u"LIST Padding Type", u"Tagging\\WaveLISTPadding", {u"'JUNK' Chunk", u"'PAD ' Chunk", u"(none)", u"", u""}},
    {u"LIST Padding Size", u"Tagging\\WaveLISTPaddingSize", {u"2 KB", u"1 KB", u"4 KB", u"8 KB", u"16 KB"}},
    {u"ID3v2 Version", u"Tagging\\WaveID3v2Version", {u"v2.3", u"v2.2", u"v2.21", u"", u""}},
    {u"ID3v2 Text Encoding", u"Tagging\\WaveID3v2UnicodeEncode", {u"ANSI", u"Unicode-16", u"", u"", u""}},
}};

inline constexpr std::u16string_view kPropertyElements =
    u"Audio Quality\rChannel Mapping\rEncoder Settings\rWave Header\rRiff Chunks\rSample Count\rGapless\rID "
    u"Tag\rContains";
inline constexpr std::u16string_view kDefaultPropertyElements = u"Audio Quality\rEncoder Settings\rContains";
