#include <curl/curl.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "io/Text.h"
#include "net/HttpHead.h"
#include "net/NetStream.h"

namespace {
// Redirects beyond this many are a loop, not a move.
constexpr long kMaxRedirects = 10;
// libcurl's own receive buffer; the body callback still gets at most 16 KiB at a time.
constexpr long kReceiveBuffer = 64 * 1024;
// The longest single wait in curl_multi_poll, so that libcurl's own timers run.
constexpr int kPollMs = 1000;

// libcurl must be set up once before any handle exists, and before 7.84 not concurrently.
bool CurlReady() {
  static const bool ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  return ready;
}

std::u16string CurlText(CURLcode code, const char* detail) {
  const std::string general = curl_easy_strerror(code);
  std::u16string text = u"curl error " + ToText(code) + u": " + Utf8ToWide(general);
  if (detail != nullptr && *detail != '\0' && general != detail) text += u" (" + Utf8ToWide(detail) + u")";
  return text;
}

// True for a head libcurl answers itself by following its Location or waiting for the real reply.
bool IsInterim(std::string_view head) {
  const int status = HttpHead::Parse(head).status;
  if (status >= 100 && status < 200) return true;
  return status >= 300 && status < 400 && status != 304 && HttpHead::Field(head, "location");
}
}  // namespace

struct NetStream::Connection {
  CURLM* multi = curl_multi_init();
  CURL* easy = nullptr;
  char error[CURL_ERROR_SIZE] = {};
  std::string head;
  bool headDone = false;
  bool paused = false;
  bool done = false;
  CURLcode result = CURLE_OK;
  // Where the body callback copies to during one Receive.
  std::uint8_t* room = nullptr;
  std::size_t roomSize = 0;
  std::size_t got = 0;

  ~Connection() {
    End();
    curl_multi_cleanup(multi);
  }

  void End() {
    if (easy != nullptr) {
      curl_multi_remove_handle(multi, easy);
      curl_easy_cleanup(easy);
    }
    easy = nullptr;
    error[0] = '\0';
    head.clear();
    headDone = paused = done = false;
    result = CURLE_OK;
    room = nullptr;
    roomSize = got = 0;
  }

  static std::size_t OnHeader(char* data, std::size_t size, std::size_t count, void* user) {
    auto& c = *static_cast<Connection*>(user);
    const std::string_view line(data, size * count);
    // Lines after the final head are trailers of a chunked body.
    if (c.headDone) return line.size();
    if (line.starts_with("HTTP/")) c.head.clear();
    if (line == "\r\n" || line == "\n")
      c.headDone = !IsInterim(c.head);
    else
      c.head.append(line);
    return line.size();
  }

  // The transfer is paused rather than buffered when the read-ahead is full.
  static std::size_t OnBody(char* data, std::size_t size, std::size_t count, void* user) {
    auto& c = *static_cast<Connection*>(user);
    const std::size_t n = size * count;
    // Also the body that comes with the head, before any Receive gave room.
    if (n > c.roomSize - c.got) {
      c.paused = true;
      return CURL_WRITEFUNC_PAUSE;
    }
    std::memcpy(c.room + c.got, data, n);
    c.got += n;
    return n;
  }

  // One round of the transfer; true when something happened that was not a wait.
  void Perform() {
    int running = 0;
    const CURLMcode code = curl_multi_perform(multi, &running);
    if (code != CURLM_OK) {
      done = true;
      result = CURLE_RECV_ERROR;
      std::strncpy(error, curl_multi_strerror(code), sizeof error - 1);
    }
    int left = 0;
    while (CURLMsg* message = curl_multi_info_read(multi, &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      done = true;
      result = message->data.result;
    }
  }

  // Runs the transfer until `until` holds or the transfer ends; libcurl's time-outs bound every wait.
  template <typename Until>
  void Run(Until until) {
    for (Perform(); !done && !until(); Perform()) curl_multi_poll(multi, nullptr, 0, kPollMs, nullptr);
  }
};

void NetStream::ConnectionDeleter::operator()(Connection* connection) const { delete connection; }

bool NetStream::Connect(std::int64_t from) {
  if (!CurlReady()) return Fail(u"curl_global_init failed");
  if (!connection_) connection_.reset(new Connection);
  Connection& c = *connection_;
  c.End();
  c.easy = curl_easy_init();
  if (c.multi == nullptr || c.easy == nullptr) return Fail(u"curl_easy_init failed");
  const std::string url = WideToUtf8(url_);
  const long timeout = timeoutSeconds_;
  CURL* e = c.easy;
  curl_easy_setopt(e, CURLOPT_URL, url.c_str());
  curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(e, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(e, CURLOPT_MAXREDIRS, kMaxRedirects);
  curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT, timeout);
  // A stall: less than one byte a second for the whole time-out, headers or body alike.
  curl_easy_setopt(e, CURLOPT_LOW_SPEED_LIMIT, 1L);
  curl_easy_setopt(e, CURLOPT_LOW_SPEED_TIME, timeout);
  curl_easy_setopt(e, CURLOPT_BUFFERSIZE, kReceiveBuffer);
  curl_easy_setopt(e, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  curl_easy_setopt(e, CURLOPT_ERRORBUFFER, c.error);
  curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, &Connection::OnHeader);
  curl_easy_setopt(e, CURLOPT_HEADERDATA, &c);
  curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, &Connection::OnBody);
  curl_easy_setopt(e, CURLOPT_WRITEDATA, &c);
  if (!userAgent_.empty()) curl_easy_setopt(e, CURLOPT_USERAGENT, WideToUtf8(userAgent_).c_str());
  if (from > 0) curl_easy_setopt(e, CURLOPT_RANGE, (std::to_string(from) + "-").c_str());
  // As the curl tool does, so that a private CA can be trusted without turning checks off.
  if (const char* bundle = std::getenv("CURL_CA_BUNDLE"); bundle != nullptr && *bundle != '\0')
    curl_easy_setopt(e, CURLOPT_CAINFO, bundle);
  curl_multi_add_handle(c.multi, e);

  c.Run([&] { return c.headDone; });
  // A finished transfer whose last head looked like a redirect was not followed: that head is the reply.
  if (!c.headDone && c.done && c.result == CURLE_OK && !c.head.empty()) c.headDone = true;
  if (!c.headDone) return Fail(CurlText(c.result, c.error));
  headers_ = c.head;
  return true;
}

NetStream::Fill NetStream::Receive() {
  Connection& c = *connection_;
  c.room = buffer_.data() + end_;
  c.roomSize = buffer_.size() - end_;
  c.got = 0;
  if (c.paused) {
    // Hands over what was held back first, through OnBody.
    c.paused = false;
    curl_easy_pause(c.easy, CURLPAUSE_CONT);
  }
  c.Run([&] { return c.got > 0 || c.paused; });
  // Then takes what else is already there, without waiting.
  for (std::size_t before = 0; !c.done && !c.paused && c.got > before && c.got < c.roomSize;) {
    before = c.got;
    c.Perform();
  }
  end_ += c.got;
  received_ += std::int64_t(c.got);
  if (c.got > 0) return Fill::Data;
  if (c.done && c.result == CURLE_OK) return Fill::End;
  // Paused with nothing taken: a piece larger than the whole buffer, which libcurl never hands over.
  errorText_ = CurlText(c.done ? c.result : CURLE_WRITE_ERROR, c.error);
  return Fill::Error;
}

void NetStream::Disconnect() {
  if (connection_) connection_->End();
}
