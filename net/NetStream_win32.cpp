#include <windows.h>
#include <winhttp.h>

#include <algorithm>
#include <climits>
#include <string>

#include "io/Text.h"
#include "net/NetStream.h"

namespace {
const wchar_t* Wide(const std::u16string& text) { return reinterpret_cast<const wchar_t*>(text.c_str()); }

// The names of the codes a stream meets; the system's message text follows where it has one.
const char* WinHttpErrorName(DWORD code) {
  switch (code) {
    case ERROR_WINHTTP_TIMEOUT:
      return "ERROR_WINHTTP_TIMEOUT";
    case ERROR_WINHTTP_INTERNAL_ERROR:
      return "ERROR_WINHTTP_INTERNAL_ERROR";
    case ERROR_WINHTTP_INVALID_URL:
      return "ERROR_WINHTTP_INVALID_URL";
    case ERROR_WINHTTP_UNRECOGNIZED_SCHEME:
      return "ERROR_WINHTTP_UNRECOGNIZED_SCHEME";
    case ERROR_WINHTTP_NAME_NOT_RESOLVED:
      return "ERROR_WINHTTP_NAME_NOT_RESOLVED";
    case ERROR_WINHTTP_CANNOT_CONNECT:
      return "ERROR_WINHTTP_CANNOT_CONNECT";
    case ERROR_WINHTTP_CONNECTION_ERROR:
      return "ERROR_WINHTTP_CONNECTION_ERROR";
    case ERROR_WINHTTP_INVALID_SERVER_RESPONSE:
      return "ERROR_WINHTTP_INVALID_SERVER_RESPONSE";
    case ERROR_WINHTTP_REDIRECT_FAILED:
      return "ERROR_WINHTTP_REDIRECT_FAILED";
    case ERROR_WINHTTP_SECURE_CERT_DATE_INVALID:
      return "ERROR_WINHTTP_SECURE_CERT_DATE_INVALID";
    case ERROR_WINHTTP_SECURE_CERT_CN_INVALID:
      return "ERROR_WINHTTP_SECURE_CERT_CN_INVALID";
    case ERROR_WINHTTP_SECURE_INVALID_CA:
      return "ERROR_WINHTTP_SECURE_INVALID_CA";
    case ERROR_WINHTTP_SECURE_CERT_REV_FAILED:
      return "ERROR_WINHTTP_SECURE_CERT_REV_FAILED";
    case ERROR_WINHTTP_SECURE_CHANNEL_ERROR:
      return "ERROR_WINHTTP_SECURE_CHANNEL_ERROR";
    case ERROR_WINHTTP_SECURE_INVALID_CERT:
      return "ERROR_WINHTTP_SECURE_INVALID_CERT";
    case ERROR_WINHTTP_SECURE_CERT_REVOKED:
      return "ERROR_WINHTTP_SECURE_CERT_REVOKED";
    case ERROR_WINHTTP_SECURE_FAILURE:
      return "ERROR_WINHTTP_SECURE_FAILURE";
    // Wine passes some socket errors through unchanged.
    case WSAETIMEDOUT:
      return "WSAETIMEDOUT";
    case WSAECONNRESET:
      return "WSAECONNRESET";
    case WSAECONNREFUSED:
      return "WSAECONNREFUSED";
    default:
      return nullptr;
  }
}

// "WinHTTP error 12029 ERROR_WINHTTP_CANNOT_CONNECT: <system text>", as much of it as is known.
std::u16string WinHttpText(DWORD code) {
  std::u16string text = u"WinHTTP error " + ToTextU(code);
  if (const char* name = WinHttpErrorName(code)) text += u" " + Widen(name);
  wchar_t message[512] = {};
  const DWORD flags = FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
  DWORD n = FormatMessageW(flags, GetModuleHandleW(L"winhttp.dll"), code, 0, message, 512, nullptr);
  while (n > 0 && (message[n - 1] == L'\r' || message[n - 1] == L'\n' || message[n - 1] == L' ')) --n;
  if (n > 0) text += u": " + std::u16string(reinterpret_cast<const char16_t*>(message), n);
  return text;
}

// WinHTTP hands the head over widened; each unit below 256 is the byte received.
std::string Narrow(std::wstring_view wide) {
  std::string bytes(wide.size(), '?');
  for (std::size_t i = 0; i < wide.size(); ++i)
    if (wide[i] < 256) bytes[i] = char(wide[i]);
  return bytes;
}
}  // namespace

struct NetStream::Connection {
  HINTERNET session = nullptr;
  HINTERNET connect = nullptr;
  HINTERNET request = nullptr;

  ~Connection() {
    End();
    if (session != nullptr) WinHttpCloseHandle(session);
  }

  void End() {
    if (request != nullptr) WinHttpCloseHandle(request);
    if (connect != nullptr) WinHttpCloseHandle(connect);
    request = connect = nullptr;
  }

  // The session carries the user agent, the proxy choice and the time-outs of every request.
  bool OpenSession(const std::u16string& userAgent, std::int32_t timeoutSeconds) {
    if (session != nullptr) return true;
    const wchar_t* agent = userAgent.empty() ? nullptr : Wide(userAgent);
    session =
        WinHttpOpen(agent, WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
    // Systems before Windows 8.1 know only the configured proxy.
    if (session == nullptr && GetLastError() == ERROR_INVALID_PARAMETER)
      session =
          WinHttpOpen(agent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
    if (session == nullptr) return false;
    const int ms = int(TimeoutMs(timeoutSeconds));
    return WinHttpSetTimeouts(session, ms, ms, ms, ms) != FALSE;
  }

  static DWORD TimeoutMs(std::int32_t seconds) { return DWORD(std::min<std::int64_t>(seconds * 1000ll, INT_MAX)); }
};

void NetStream::ConnectionDeleter::operator()(Connection* connection) const { delete connection; }

bool NetStream::Connect(std::int64_t from) {
  if (!connection_) connection_.reset(new Connection);
  Connection& c = *connection_;
  c.End();
  if (!c.OpenSession(userAgent_, timeoutSeconds_)) return Fail(WinHttpText(GetLastError()));

  URL_COMPONENTS parts{};
  parts.dwStructSize = sizeof parts;
  parts.dwHostNameLength = parts.dwUrlPathLength = parts.dwExtraInfoLength = DWORD(-1);
  if (!WinHttpCrackUrl(Wide(url_), DWORD(url_.size()), 0, &parts)) return Fail(WinHttpText(GetLastError()));
  if (parts.nScheme != INTERNET_SCHEME_HTTP && parts.nScheme != INTERNET_SCHEME_HTTPS)
    return Fail(WinHttpText(ERROR_WINHTTP_UNRECOGNIZED_SCHEME));
  const std::wstring host(parts.lpszHostName, parts.dwHostNameLength);
  std::wstring path(parts.lpszUrlPath, parts.dwUrlPathLength);
  path.append(parts.lpszExtraInfo, parts.dwExtraInfoLength);
  if (path.empty()) path = L"/";

  c.connect = WinHttpConnect(c.session, host.c_str(), parts.nPort, 0);
  if (c.connect != nullptr) {
    const DWORD secure = parts.nScheme == INTERNET_SCHEME_HTTPS ? WINHTTP_FLAG_SECURE : 0;
    c.request = WinHttpOpenRequest(c.connect, L"GET", path.c_str(), nullptr, WINHTTP_NO_REFERER,
                                   WINHTTP_DEFAULT_ACCEPT_TYPES, secure);
  }
  if (c.request != nullptr) {
    // The wait for the head has a time-out of its own (90 s on Windows, none in Wine) that the session's leave alone.
    DWORD headMs = Connection::TimeoutMs(timeoutSeconds_);
    WinHttpSetOption(c.request, WINHTTP_OPTION_RECEIVE_RESPONSE_TIMEOUT, &headMs, sizeof headMs);
  }
  const std::wstring range = from > 0 ? L"Range: bytes=" + std::to_wstring(from) + L"-" : std::wstring();
  const bool answered = c.request != nullptr &&
                        WinHttpSendRequest(c.request, range.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS : range.c_str(),
                                           DWORD(range.size()), WINHTTP_NO_REQUEST_DATA, 0, 0, 0) &&
                        WinHttpReceiveResponse(c.request, nullptr);
  if (!answered) return Fail(WinHttpText(GetLastError()));

  DWORD bytes = 0;
  WinHttpQueryHeaders(c.request, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, WINHTTP_NO_OUTPUT_BUFFER,
                      &bytes, WINHTTP_NO_HEADER_INDEX);
  std::wstring head(bytes / sizeof(wchar_t), L'\0');
  if (!WinHttpQueryHeaders(c.request, WINHTTP_QUERY_RAW_HEADERS_CRLF, WINHTTP_HEADER_NAME_BY_INDEX, head.data(), &bytes,
                           WINHTTP_NO_HEADER_INDEX))
    return Fail(WinHttpText(GetLastError()));
  head.resize(bytes / sizeof(wchar_t));
  // The blank line that ends the head is not a header line.
  while (head.ends_with(L"\r\n\r\n")) head.resize(head.size() - 2);
  headers_ = Narrow(head);
  return true;
}

NetStream::Fill NetStream::Receive(std::size_t wanted) {
  // A read waits until it has all it asked for (Wine's does), so the read-ahead
  // asks beyond what is wanted only for what has arrived: an open then does not
  // wait on a server that pauses after the head and the tags. While the body
  // flows, as much arrives as the buffer holds, and the reads stay large.
  const std::size_t room = buffer_.size() - end_;
  std::size_t ask = std::min(room, wanted);
  if (ask < room) {
    DWORD available = 0;
    if (!WinHttpQueryDataAvailable(connection_->request, &available)) {
      errorText_ = WinHttpText(GetLastError());
      return Fill::Error;
    }
    if (available == 0) return Fill::End;
    ask = std::min(room, std::max<std::size_t>(ask, available));
  }
  DWORD got = 0;
  if (!WinHttpReadData(connection_->request, buffer_.data() + end_, DWORD(ask), &got)) {
    errorText_ = WinHttpText(GetLastError());
    return Fill::Error;
  }
  if (got == 0) return Fill::End;
  end_ += got;
  received_ += got;
  return Fill::Data;
}

void NetStream::Disconnect() {
  if (connection_) connection_->End();
}
