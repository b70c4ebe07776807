// One codec stream from a compressed wave format to PCM, with the operations
// of the Windows Audio Compression Manager: open (non-realtime), size,
// convert (prepare, convert, unprepare) and close. Windows drives the real
// manager; elsewhere built-in decoders serve the same calls.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "wave/WFX.h"

enum AcmConvertFlags : unsigned {
  kAcmConvertBlockAlign = 1,  // whole blocks only; the rest stays unused
  kAcmConvertStart = 2,       // the first conversion of the stream
  kAcmConvertEnd = 4,         // the last conversion: use up everything
};

// One conversion: the codec reports how much of the source it used and how
// much of the destination it filled.
struct AcmConversion {
  const std::uint8_t* source = nullptr;
  std::uint32_t sourceLength = 0;
  std::uint8_t* destination = nullptr;
  std::uint32_t destinationLength = 0;
  std::uint32_t sourceUsed = 0;
  std::uint32_t destinationUsed = 0;
};

class AcmStream {
 public:
  virtual ~AcmStream() = default;
  // Destination bytes that `sourceBytes` of input can produce; false when the codec cannot say.
  virtual bool Size(std::uint32_t sourceBytes, std::uint32_t& destinationBytes) = 0;
  // Converts one buffer with the AcmConvertFlags given; false when the codec fails.
  virtual bool Convert(AcmConversion& conversion, unsigned flags) = 0;
};

// Opens a stream from `source` to `target`; null when no codec takes the pair.
std::unique_ptr<AcmStream> OpenAcmStream(const WFX& source, const WFX& target);

using AcmStreamOpener = std::function<std::unique_ptr<AcmStream>(const WFX& source, const WFX& target)>;
