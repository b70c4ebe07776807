// Text inside ID3v2 frames as the writer produces it: which encoding byte a
// frame gets for its strings, and the strings in that encoding.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "io/ByteWriter.h"
#include "tags/Id3Text.h"

namespace id3parser {

// The text encoding the user chose for the tags written.
enum class TextChoice { Ansi, Utf16, Utf8 };

// True when every character fits in ISO-8859-1.
bool FitsLatin1(std::u16string_view text);

// The encoding of a frame that holds these strings in a tag of this major
// version: the user's choice where the version has it and the text fits,
// otherwise the version's Unicode encoding, so that no character is lost.
TextEncoding ChooseEncoding(TextChoice choice, int major, std::span<const std::u16string> strings);

// Appends one string; with terminate, its zero of the encoding's width follows.
void AppendText(ByteWriter& w, TextEncoding encoding, std::u16string_view text, bool terminate);

}  // namespace id3parser
