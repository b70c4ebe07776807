// The user's tagging settings: DWORD values under the current user's key
// "Software\Brindlecot\Quaverlane\Tagging" on Windows, the same names in a
// small settings file on POSIX. Read at every use, so a change applies at
// once; a value that is missing or malformed reads as 0, which is every
// setting's default.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

inline constexpr std::array<std::u16string_view, 8> kTagSettingNames = {
    u"WaveTagDefault",  u"WaveLISTPos",         u"WaveLISTAlbum",    u"WaveLISTTrack",
    u"WaveLISTPadding", u"WaveLISTPaddingSize", u"WaveID3v2Version", u"WaveID3v2UnicodeEncode"};

// The stored value, or 0.
std::uint32_t ReadTagSetting(std::u16string_view name);
// The stored value, or nothing when it is missing or malformed.
std::optional<std::uint32_t> ReadTagSettingIfSet(std::u16string_view name);
bool WriteTagSetting(std::u16string_view name, std::uint32_t value);
bool DeleteTagSetting(std::u16string_view name);
// Where the settings live, for the user: the registry key or the file path.
std::u16string TagSettingsLocation();

// The padding size in bytes that the "WaveLISTPaddingSize" choice stands for.
std::uint32_t PaddingSizeFromSetting(std::uint32_t choice);
