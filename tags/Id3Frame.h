// ID3v2 frames: identifier, size and flags of each frame header, the frame
// body with grouping, data length and unsynchronisation undone, and the
// identifiers of version 2.2 in their version 2.3 forms.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "io/ByteReader.h"
#include "tags/Id3Header.h"

namespace id3parser {

struct Frame {
  std::string id;  // four letters; a 2.2 identifier without a 2.3 form keeps its three
  HeldBytes held;  // a view into the frame area unless unsynchronisation was undone
  ByteSpan body() const { return held.bytes(); }
};

// The 2.3 identifier for a 2.2 one, or the identifier itself when it has none.
std::string_view V23FrameId(std::string_view v22Id);
// The 2.2 identifier for a 2.3 one; empty when version 2.2 has none that readers convert.
std::string_view V22FrameId(std::string_view v23Id);

// A frame and the tag name it carries in the tag list.
struct FrameName {
  std::string_view id;
  std::string_view name;
};

// The text frames, in the order in which a name is looked up (TDRC before TYER).
std::span<const FrameName> TextFrameNames();
// The URL frames other than WXXX.
std::span<const FrameName> UrlFrameNames();
// The 2.4 lists of role and person pairs.
std::span<const FrameName> RoleListFrameNames();

// The frames of a frame area (see FrameArea), in file order; their bodies may
// view the area, which must outlive them. Reading ends at
// padding, at an identifier that is not one, or at a frame that claims more
// bytes than are left; frames read until then are kept. Compressed and
// encrypted frames are left out.
std::vector<Frame> ReadFrames(ByteSpan area, const TagHeader& header);

}  // namespace id3parser
