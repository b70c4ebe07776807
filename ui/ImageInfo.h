// What kind of image a picture tag holds and its size in pixels, from the first bytes of the image.
#pragma once

#include <string>

#include "io/ByteReader.h"

struct ImageInfo {
  std::u16string kind;  // "JPEG", "PNG", "GIF", "BMP", or empty when not recognised
  int width = 0;        // 0 when the header does not say
  int height = 0;
};

ImageInfo ImageInfoOf(ByteSpan image);
// "JPEG, 600 × 600, 48.2 KB" and the like, for a person.
std::u16string DescribeImage(ByteSpan image);
