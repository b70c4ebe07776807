// windows.h comes first: the multimedia headers build on its types.
#include <windows.h>

#include <mmsystem.h>

#include <mmreg.h>
#include <msacm.h>

#include "wave/AcmStream.h"

namespace {
class WindowsAcmStream final : public AcmStream {
 public:
  explicit WindowsAcmStream(HACMSTREAM stream) : stream_(stream) {}
  ~WindowsAcmStream() override { acmStreamClose(stream_, 0); }
  WindowsAcmStream(const WindowsAcmStream&) = delete;
  WindowsAcmStream& operator=(const WindowsAcmStream&) = delete;

  bool Size(std::uint32_t sourceBytes, std::uint32_t& destinationBytes) override {
    DWORD size = 0;
    if (acmStreamSize(stream_, sourceBytes, &size, ACM_STREAMSIZEF_SOURCE) != MMSYSERR_NOERROR) return false;
    destinationBytes = size;
    return true;
  }

  bool Convert(AcmConversion& c, unsigned flags) override {
    ACMSTREAMHEADER header{};
    header.cbStruct = sizeof header;
    // The manager takes a non-const source but only reads it.
    header.pbSrc = const_cast<LPBYTE>(c.source);
    header.cbSrcLength = c.sourceLength;
    header.pbDst = c.destination;
    header.cbDstLength = c.destinationLength;
    if (acmStreamPrepareHeader(stream_, &header, 0) != MMSYSERR_NOERROR) return false;
    DWORD acmFlags = 0;
    if (flags & kAcmConvertBlockAlign) acmFlags |= ACM_STREAMCONVERTF_BLOCKALIGN;
    if (flags & kAcmConvertStart) acmFlags |= ACM_STREAMCONVERTF_START;
    if (flags & kAcmConvertEnd) acmFlags |= ACM_STREAMCONVERTF_END;
    const bool converted = acmStreamConvert(stream_, &header, acmFlags) == MMSYSERR_NOERROR;
    // Unprepared even after a failed conversion, or the header stays locked to the stream.
    const bool unprepared = acmStreamUnprepareHeader(stream_, &header, 0) == MMSYSERR_NOERROR;
    c.sourceUsed = header.cbSrcLengthUsed;
    c.destinationUsed = header.cbDstLengthUsed;
    return converted && unprepared;
  }

 private:
  HACMSTREAM stream_;
};

LPWAVEFORMATEX Header(const WFX& wfx) {
  // The manager reads the header through a non-const pointer; it never writes it.
  return reinterpret_cast<LPWAVEFORMATEX>(const_cast<std::uint8_t*>(wfx.data()));
}
}  // namespace

std::unique_ptr<AcmStream> OpenAcmStream(const WFX& source, const WFX& target) {
  HACMSTREAM stream = nullptr;
  if (acmStreamOpen(&stream, nullptr, Header(source), Header(target), nullptr, 0, 0, ACM_STREAMOPENF_NONREALTIME) !=
      MMSYSERR_NOERROR)
    return nullptr;
  return std::make_unique<WindowsAcmStream>(stream);
}
