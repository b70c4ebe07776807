// The numbered genres of ID3v1 and its published extensions, to which TCON
// frames refer by number.
#pragma once

#include <string_view>

namespace id3parser {

// The name of genre 0..125; empty for any other number.
std::string_view GenreName(int number);

}  // namespace id3parser
