#include "ui/Controls.h"

#include <commctrl.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstring>

#include "io/Text.h"
#include "ui/ImageInfo.h"

// The few GDI+ flat functions the picture box needs, declared here rather than through <gdiplus.h>, whose C++
// wrappers do not build cleanly at this warning level. Every one returns 0 on success.
extern "C" {
struct GdiplusStartupInput {
  UINT32 GdiplusVersion;
  void* DebugEventCallback;
  BOOL SuppressBackgroundThread;
  BOOL SuppressExternalCodecs;
};
int WINAPI GdiplusStartup(ULONG_PTR* token, const GdiplusStartupInput* input, void* output);
int WINAPI GdipCreateBitmapFromStream(IStream* stream, void** bitmap);
int WINAPI GdipGetImageWidth(void* image, UINT* width);
int WINAPI GdipGetImageHeight(void* image, UINT* height);
int WINAPI GdipDisposeImage(void* image);
int WINAPI GdipCreateFromHDC(HDC dc, void** graphics);
int WINAPI GdipSetInterpolationMode(void* graphics, int mode);
int WINAPI GdipDrawImageRectI(void* graphics, void* image, INT x, INT y, INT width, INT height);
int WINAPI GdipDeleteGraphics(void* graphics);
}

namespace {
std::u16string ToU16(const std::wstring& w) { return std::u16string(w.begin(), w.end()); }

// Paints the non-client border of a framed control in the theme's colours.
void PaintFrame(HWND hwnd, const Theme& theme, bool problem) {
  HDC dc = GetWindowDC(hwnd);
  RECT r;
  GetWindowRect(hwnd, &r);
  OffsetRect(&r, -r.left, -r.top);
  theme.Frame(dc, r, problem);
  ReleaseDC(hwnd, dc);
}

LRESULT CALLBACK FramedProcedure(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp, UINT_PTR, DWORD_PTR data) {
  if (msg == WM_NCPAINT) {
    DefSubclassProc(hwnd, msg, wp, lp);
    PaintFrame(hwnd, *reinterpret_cast<const Theme*>(data), false);
    return 0;
  }
  wchar_t cls[8] = {};
  if (msg == WM_SETFOCUS && GetClassNameW(hwnd, cls, 8) && lstrcmpiW(cls, L"Edit") == 0) {
    const LRESULT result = DefSubclassProc(hwnd, msg, wp, lp);
    SendMessageW(hwnd, EM_SETSEL, 0, -1);
    return result;
  }
  return DefSubclassProc(hwnd, msg, wp, lp);
}

bool CharFits(FieldKind kind, wchar_t c) {
  if (c < L' ') return true;  // editing keys: backspace, Ctrl+A and the like
  switch (kind) {
    case FieldKind::Number:
      return (c >= L'0' && c <= L'9') || c == L'/';
    case FieldKind::Date:
      return (c >= L'0' && c <= L'9') || c == L'-';
    case FieldKind::Text:
      break;
  }
  return true;
}

void DrawArrow(HDC dc, const RECT& r, COLORREF colour) {
  const int cx = (r.left + r.right) / 2, cy = (r.top + r.bottom) / 2;
  const int half = std::max<int>(3, (r.bottom - r.top) / 6);
  const POINT points[3] = {{cx - half, cy - half / 2}, {cx + half, cy - half / 2}, {cx, cy + half / 2 + 1}};
  HBRUSH brush = CreateSolidBrush(colour);
  HPEN pen = CreatePen(PS_SOLID, 1, colour);
  HGDIOBJ oldBrush = SelectObject(dc, brush), oldPen = SelectObject(dc, pen);
  Polygon(dc, points, 3);
  SelectObject(dc, oldBrush);
  SelectObject(dc, oldPen);
  DeleteObject(brush);
  DeleteObject(pen);
}

LRESULT CALLBACK ComboProcedure(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp, UINT_PTR, DWORD_PTR data) {
  const Theme& theme = *reinterpret_cast<const Theme*>(data);
  if (msg == WM_PAINT) {
    PAINTSTRUCT ps;
    HDC dc = BeginPaint(hwnd, &ps);
    RECT r;
    GetClientRect(hwnd, &r);
    const Palette& p = theme.colours();
    FillRect(dc, &r, theme.fieldBrush());
    const bool focused = GetFocus() == hwnd;
    theme.Frame(dc, r, false);
    RECT arrow = r;
    arrow.left = arrow.right - GetSystemMetrics(SM_CXVSCROLL);
    DrawArrow(dc, arrow, ToColorRef(p.text));
    RECT text = r;
    text.left += theme.X(3);
    text.right = arrow.left;
    const int index = int(SendMessageW(hwnd, CB_GETCURSEL, 0, 0));
    std::wstring item;
    if (index >= 0) {
      item.resize(std::size_t(SendMessageW(hwnd, CB_GETLBTEXTLEN, WPARAM(index), 0)) + 1);
      SendMessageW(hwnd, CB_GETLBTEXT, WPARAM(index), reinterpret_cast<LPARAM>(item.data()));
      item.resize(wcslen(item.c_str()));
    }
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, ToColorRef(p.text));
    HGDIOBJ old = SelectObject(dc, theme.font());
    DrawTextW(dc, item.c_str(), -1, &text, DT_LEFT | DT_VCENTER | DT_SINGLELINE | DT_END_ELLIPSIS | DT_NOPREFIX);
    SelectObject(dc, old);
    if (focused) {
      RECT f = r;
      InflateRect(&f, -2, -2);
      f.right = arrow.left;
      DrawFocusRect(dc, &f);
    }
    EndPaint(hwnd, &ps);
    return 0;
  }
  if (msg == WM_SETFOCUS || msg == WM_KILLFOCUS || msg == CB_SETCURSEL) {
    const LRESULT result = DefSubclassProc(hwnd, msg, wp, lp);
    InvalidateRect(hwnd, nullptr, FALSE);
    return result;
  }
  return DefSubclassProc(hwnd, msg, wp, lp);
}
}  // namespace

std::wstring ControlText(HWND control) {
  std::wstring text(std::size_t(GetWindowTextLengthW(control)) + 1, L'\0');
  text.resize(std::size_t(GetWindowTextW(control, text.data(), int(text.size()))));
  return text;
}

CheckedEdit::CheckedEdit(HWND edit, const Theme& theme, FieldKind kind,
                         std::function<void(const std::u16string&)> onProblem)
    : hwnd_(edit), theme_(theme), kind_(kind), onProblem_(std::move(onProblem)) {
  SetWindowSubclass(hwnd_, &CheckedEdit::Procedure, 1, reinterpret_cast<DWORD_PTR>(this));
}

std::u16string CheckedEdit::Problem() const { return FieldProblem(kind_, ToU16(ControlText(hwnd_))); }

LRESULT CALLBACK CheckedEdit::Procedure(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp, UINT_PTR, DWORD_PTR data) {
  auto* self = reinterpret_cast<CheckedEdit*>(data);
  switch (msg) {
    case WM_CHAR:
      if (!CharFits(self->kind_, wchar_t(wp))) {
        MessageBeep(MB_OK);
        if (self->onProblem_)
          self->onProblem_(self->kind_ == FieldKind::Date ? u"A date holds digits and \"-\" only, as in 2004-05-28."
                                                          : u"A number holds digits and \"/\" only, as in 3/12.");
        return 0;
      }
      break;
    case WM_KEYDOWN:
    case WM_SYSKEYDOWN:
      if (self->onDropDown && (wp == VK_F4 || (wp == VK_DOWN && (GetKeyState(VK_MENU) & 0x8000)))) {
        self->onDropDown();
        return 0;
      }
      break;
    case WM_SETFOCUS: {
      const LRESULT result = DefSubclassProc(hwnd, msg, wp, lp);
      SendMessageW(hwnd, EM_SETSEL, 0, -1);
      return result;
    }
    case WM_NCPAINT:
      DefSubclassProc(hwnd, msg, wp, lp);
      PaintFrame(hwnd, self->theme_, !self->Problem().empty());
      return 0;
    case WM_NCDESTROY:
      RemoveWindowSubclass(hwnd, &CheckedEdit::Procedure, 1);
      break;
    default:
      break;
  }
  const LRESULT result = DefSubclassProc(hwnd, msg, wp, lp);
  if (msg == WM_SETTEXT || (msg == WM_CHAR && self->kind_ != FieldKind::Text) || msg == WM_PASTE || msg == WM_CUT ||
      msg == WM_CLEAR || msg == EM_UNDO || (msg == WM_KEYDOWN && wp == VK_DELETE)) {
    SetWindowPos(hwnd, nullptr, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_FRAMECHANGED);
    if (self->onProblem_ && self->kind_ != FieldKind::Text) self->onProblem_(self->Problem());
  }
  return result;
}

void MakeReadOnlyText(HWND edit, const Theme& theme) {
  SendMessageW(edit, EM_SETREADONLY, TRUE, 0);
  SetWindowSubclass(edit, &FramedProcedure, 2, reinterpret_cast<DWORD_PTR>(&theme));
}

void MakeFramed(HWND control, const Theme& theme) {
  SetWindowSubclass(control, &FramedProcedure, 2, reinterpret_cast<DWORD_PTR>(&theme));
}

void MakeCombo(HWND combo, const Theme& theme) {
  SetWindowSubclass(combo, &ComboProcedure, 3, reinterpret_cast<DWORD_PTR>(&theme));
}

PictureBox::PictureBox(HWND box, const Theme& theme) : hwnd_(box), theme_(theme) {
  SetWindowSubclass(hwnd_, &PictureBox::Procedure, 4, reinterpret_cast<DWORD_PTR>(this));
}

void PictureBox::SetImage(std::vector<std::uint8_t> bytes) {
  bytes_ = std::move(bytes);
  InvalidateRect(hwnd_, nullptr, TRUE);
}

LRESULT CALLBACK PictureBox::Procedure(HWND hwnd, UINT msg, WPARAM wp, LPARAM lp, UINT_PTR, DWORD_PTR data) {
  auto* self = reinterpret_cast<PictureBox*>(data);
  if (msg == WM_PAINT) {
    PAINTSTRUCT ps;
    HDC dc = BeginPaint(hwnd, &ps);
    self->Paint(dc);
    EndPaint(hwnd, &ps);
    return 0;
  }
  if (msg == WM_ERASEBKGND) return 1;
  if (msg == WM_NCDESTROY) RemoveWindowSubclass(hwnd, &PictureBox::Procedure, 4);
  return DefSubclassProc(hwnd, msg, wp, lp);
}

namespace {
// The largest picture that fits inside the frame with its aspect ratio kept, centred.
RECT FitInside(const RECT& box, int width, int height) {
  RECT inner = box;
  InflateRect(&inner, -2, -2);
  const int boxW = inner.right - inner.left, boxH = inner.bottom - inner.top;
  const int scaledW = std::min(boxW, MulDiv(boxH, width, height));
  const int scaledH = MulDiv(scaledW, height, width);
  const int x = inner.left + (boxW - scaledW) / 2, y = inner.top + (boxH - scaledH) / 2;
  return RECT{x, y, x + scaledW, y + scaledH};
}

// Started on the first picture rather than at program start, so that a window without a cover never loads
// GDI+; never shut down, as the process ends soon after its window.
bool GdiplusReady() {
  static const bool ready = [] {
    ULONG_PTR token = 0;
    const GdiplusStartupInput input{1, nullptr, FALSE, FALSE};
    return GdiplusStartup(&token, &input, nullptr) == 0;
  }();
  return ready;
}

// Decodes with GDI+ (PNG, JPEG, GIF and whatever else it reads). Damaged bytes make the decoder or the drawing
// report a failure, which the caller turns into the text.
bool DrawDecoded(HDC dc, const RECT& box, const std::vector<std::uint8_t>& bytes) {
  if (bytes.empty() || bytes.size() > 0x7FFFFFFF || !GdiplusReady()) return false;
  IStream* stream = SHCreateMemStream(bytes.data(), UINT(bytes.size()));
  if (!stream) return false;
  void* image = nullptr;
  const bool decoded = GdipCreateBitmapFromStream(stream, &image) == 0 && image;
  stream->Release();
  if (!decoded) return false;
  bool drawn = false;
  UINT width = 0, height = 0;
  void* graphics = nullptr;
  if (GdipGetImageWidth(image, &width) == 0 && GdipGetImageHeight(image, &height) == 0 && width > 0 && height > 0 &&
      width <= 0x8000 && height <= 0x8000 && GdipCreateFromHDC(dc, &graphics) == 0) {
    constexpr int kHighQualityBicubic = 7;
    GdipSetInterpolationMode(graphics, kHighQualityBicubic);
    const RECT fit = FitInside(box, int(width), int(height));
    drawn = GdipDrawImageRectI(graphics, image, fit.left, fit.top, fit.right - fit.left, fit.bottom - fit.top) == 0;
    GdipDeleteGraphics(graphics);
  }
  GdipDisposeImage(image);
  return drawn;
}
}  // namespace

bool PictureBox::DrawBitmap(HDC dc, const RECT& box, const ImageInfo& info) const {
  // The file header (14 bytes) says where the pixels start; the info header follows it. Only uncompressed
  // 24- and 32-bit pictures are drawn, and only when all their rows are there.
  constexpr std::size_t kFileHeader = 14;
  BITMAPINFOHEADER header{};
  if (bytes_.size() < kFileHeader + sizeof header || info.width <= 0 || info.height <= 0) return false;
  std::memcpy(&header, bytes_.data() + kFileHeader, sizeof header);
  ByteReader reader(ByteSpan(bytes_.data(), bytes_.size()));
  reader.Seek(10);
  const std::uint32_t pixels = reader.U32();
  const bool plain = header.biCompression == BI_RGB && (header.biBitCount == 24 || header.biBitCount == 32);
  if (!plain || info.width > 0x8000 || info.height > 0x8000 || pixels > bytes_.size()) return false;
  const std::uint64_t rowBytes = (std::uint64_t(info.width) * header.biBitCount + 31) / 32 * 4;
  if (rowBytes * std::uint64_t(info.height) > bytes_.size() - pixels) return false;
  BITMAPINFO bitmap{};
  bitmap.bmiHeader = header;
  const RECT fit = FitInside(box, info.width, info.height);
  SetStretchBltMode(dc, HALFTONE);
  StretchDIBits(dc, fit.left, fit.top, fit.right - fit.left, fit.bottom - fit.top, 0, 0, info.width, info.height,
                bytes_.data() + pixels, &bitmap, DIB_RGB_COLORS, SRCCOPY);
  return true;
}

void PictureBox::Paint(HDC dc) const {
  RECT r;
  GetClientRect(hwnd_, &r);
  FillRect(dc, &r, theme_.fieldBrush());
  theme_.Frame(dc, r, false);
  const ByteSpan image(bytes_.data(), bytes_.size());
  const ImageInfo info = ImageInfoOf(image);
  if (info.kind == u"BMP" && DrawBitmap(dc, r, info)) return;
  // The decoder holds the whole picture in memory: one larger than a cover ever is would cost gigabytes.
  constexpr int kLargestSide = 8192;
  const bool decodable = !info.kind.empty() && info.width <= kLargestSide && info.height <= kLargestSide;
  if (decodable && DrawDecoded(dc, r, bytes_)) return;
  // A failed decode may have drawn part of the picture; the text goes on a clean box.
  FillRect(dc, &r, theme_.fieldBrush());
  theme_.Frame(dc, r, false);
  const std::u16string text = bytes_.empty() ? u"No cover" : DescribeImage(image);
  const std::wstring wide(text.begin(), text.end());
  SetBkMode(dc, TRANSPARENT);
  SetTextColor(dc, ToColorRef(theme_.colours().text));
  HGDIOBJ old = SelectObject(dc, theme_.font());
  RECT t = r;
  InflateRect(&t, -theme_.X(4), -theme_.Y(4));
  DrawTextW(dc, wide.c_str(), -1, &t, DT_CENTER | DT_VCENTER | DT_WORDBREAK | DT_NOPREFIX);
  SelectObject(dc, old);
}
