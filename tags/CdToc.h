// The CD table of contents kept under "_cdtoc": a binary record of a 4-byte
// header (data length, first track, last track) and 8-byte entries for the
// tracks and the lead-out, and the hex text that carries it in an INFO list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

inline constexpr std::size_t kCdTocHeaderSize = 4;
inline constexpr std::size_t kCdTocEntrySize = 8;
// Header and 100 entries: 99 tracks and the lead-out.
inline constexpr std::size_t kCdTocMaxTextBytes = 804;

// Size of the record that a header with these track numbers describes.
std::size_t CdTocRecordSize(std::uint8_t firstTrack, std::uint8_t lastTrack);
// Upper-case hex of at most kCdTocMaxTextBytes bytes of the record, two digits per byte, single blanks between.
std::u16string CdTocToText(std::span<const std::uint8_t> record);
// The record that the hex text holds, sized by its header (missing bytes zero, extra dropped); empty without hex.
std::vector<std::uint8_t> CdTocFromText(std::u16string_view text);
