// windows.h comes first: the multimedia headers build on its types.
#include <windows.h>

#include <mmsystem.h>

#include <mmreg.h>
#include <msacm.h>

#include <cwchar>

#include "wave/AudioText.h"

std::optional<std::u16string> AcmFormatTagName(std::uint16_t tag, std::uint32_t formatSize) {
  ACMFORMATTAGDETAILSW details{};
  details.cbStruct = sizeof details;
  details.dwFormatTag = tag;
  details.cbFormatSize = formatSize;
  if (acmFormatTagDetailsW(nullptr, &details, ACM_FORMATTAGDETAILSF_FORMATTAG) != MMSYSERR_NOERROR) return std::nullopt;
  // A driver that fills the whole field leaves no terminator.
  const std::size_t length = wcsnlen(details.szFormatTag, ACMFORMATTAGDETAILS_FORMATTAG_CHARS);
  return std::u16string(reinterpret_cast<const char16_t*>(details.szFormatTag), length);
}
