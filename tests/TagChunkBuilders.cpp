#include "TagChunkBuilders.h"

#include <algorithm>

#include "io/ByteWriter.h"
#include "riff/clRIFFBEXTChunk.h"

Bytes InfoList(const TextFieldList& subChunks) {
  Bytes out;
  ByteWriter w(out);
  w.Text("INFO");
  for (const auto& [id, text] : subChunks) {
    w.Text(id);
    w.U32(std::uint32_t(text.size() + 1));
    w.Text(text);
    w.U8(0);
    if ((text.size() + 1) & 1) w.U8(0);
  }
  return out;
}

Bytes Id3v23Tag(const TextFieldList& frames, std::uint32_t claimExtra) {
  Bytes body;
  ByteWriter w(body);
  for (const auto& [id, text] : frames) {
    w.Text(id);
    w.U32BE(std::uint32_t(text.size() + 1));
    w.U16(0);  // flags
    w.U8(0);   // ISO-8859-1
    w.Text(text);
  }
  Bytes tag;
  ByteWriter t(tag);
  t.Text("ID3");
  t.U8(3);  // version 2.3.0
  t.U8(0);
  t.U8(0);  // no flags
  const std::uint32_t size = std::uint32_t(body.size()) + claimExtra;
  for (int shift : {21, 14, 7, 0}) t.U8(std::uint8_t((size >> shift) & 0x7F));  // synchsafe
  t.Bytes(body);
  return tag;
}
Bytes BextRecord(const std::string& description, std::uint16_t version, std::uint8_t umidFill) {
  Bytes out(clRIFFBEXTChunk::kFixedSize, 0);
  std::copy(description.begin(), description.end(), out.begin());
  out[clRIFFBEXTChunk::kVersionOffset] = std::uint8_t(version);
  std::fill_n(out.begin() + clRIFFBEXTChunk::kUmidOffset, clRIFFBEXTChunk::kUmidSize, umidFill);
  return out;
}
