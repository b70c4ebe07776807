#include <array>

#include "io/Text.h"
#include "tags/TagList.h"

namespace {

constexpr std::u16string_view kAlbumArtPrefix = u"_albumart_";
constexpr std::u16string_view kSubdesc = u"<subdesc>";

// The picture types 1..20 in their order; the type name is the suffix without its underscore.
constexpr std::array<std::u16string_view, 20> kPictureTypes = {
    u"_32x32 Icon",
    u"_Other Icon",
    u"_Front Album Cover",
    u"_Back Album Cover",
    u"_Leaflet Page",
    u"_Media",
    u"_Lead Artist",
    u"_Artist",
    u"_Conductor",
    u"_Band",
    u"_Composer",
    u"_Writer",
    u"_Recording Location",
    u"_During Recording",
    u"_During Performance",
    u"_Video Capture",
    u"_A Bright Coloured Fish",
    u"_Illustration",
    u"_Artist Logo",
    u"_Publisher Logo",
};
constexpr int kFrontCover = 3;

}  // namespace

std::u16string PictureTypeName(int type) {
  if (type < 1 || type > int(kPictureTypes.size())) return u"";
  return std::u16string(kPictureTypes[std::size_t(type - 1)]);
}

int PictureTypeFromName(std::u16string_view typeName) {
  if (typeName.empty() || EqualsFolded(typeName, u"Undefined")) return 0;
  for (std::size_t i = 0; i < kPictureTypes.size(); ++i) {
    if (EqualsFolded(typeName, kPictureTypes[i].substr(1))) return int(i + 1);
  }
  // An unknown type name still names a picture; the front cover is the safest guess for it.
  return kFrontCover;
}

bool IsAlbumArtName(std::u16string_view name) { return StartsWithFolded(name, kAlbumArtPrefix); }

std::u16string AlbumArtName(int ordinal, int type, std::u16string_view description) {
  std::u16string name(kAlbumArtPrefix);
  name += ToText(ordinal);
  const std::u16string typeName = PictureTypeName(type);
  name += typeName.empty() ? u"_Undefined" : typeName;
  if (!description.empty()) {
    name += kSubdesc;
    name += description;
  }
  return name;
}

void SplitAlbumArtName(std::u16string_view name, std::u16string& typeName, std::u16string& description) {
  typeName.clear();
  description.clear();
  if (name.size() <= kAlbumArtPrefix.size()) return;
  const std::size_t underscore = name.find(u'_', kAlbumArtPrefix.size());
  if (underscore == std::u16string_view::npos) return;
  const std::u16string_view typePart = name.substr(underscore + 1);
  const std::size_t sep = typePart.find(kSubdesc);
  if (sep == std::u16string_view::npos) {
    typeName = typePart;
    return;
  }
  typeName = typePart.substr(0, sep);
  description = typePart.substr(sep + kSubdesc.size());
}

std::u16string PictureMimeFromData(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < 8) return u"";
  if (bytes[1] == 'P' && bytes[2] == 'N' && bytes[3] == 'G') return u"image/png";
  return u"image/jpeg";
}
