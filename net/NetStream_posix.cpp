#include <curl/curl.h>
#include <dlfcn.h>

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

// libcurl is loaded with the first network address: opening local files,
// which is most of what a host does, never pays for loading it and the
// libraries it needs. It must be set up once before any handle exists.
struct CurlApi {
  bool ready = false;
  decltype(&curl_global_init) global_init = nullptr;
  decltype(&curl_easy_init) easy_init = nullptr;
  decltype(&curl_easy_cleanup) easy_cleanup = nullptr;
  decltype(&curl_easy_setopt) easy_setopt = nullptr;
  decltype(&curl_easy_pause) easy_pause = nullptr;
  decltype(&curl_easy_strerror) easy_strerror = nullptr;
  decltype(&curl_multi_init) multi_init = nullptr;
  decltype(&curl_multi_cleanup) multi_cleanup = nullptr;
  decltype(&curl_multi_add_handle) multi_add_handle = nullptr;
  decltype(&curl_multi_remove_handle) multi_remove_handle = nullptr;
  decltype(&curl_multi_perform) multi_perform = nullptr;
  decltype(&curl_multi_poll) multi_poll = nullptr;
  decltype(&curl_multi_info_read) multi_info_read = nullptr;
  decltype(&curl_multi_strerror) multi_strerror = nullptr;
};

template <typename Function>
bool Resolve(void* library, Function& function, const char* name) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  return function != nullptr;
}

const CurlApi& Curl() {
  static const CurlApi api = [] {
    CurlApi a;
    void* library = dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL);
    const bool found =
        library && Resolve(library, a.global_init, "curl_global_init") &&
        Resolve(library, a.easy_init, "curl_easy_init") && Resolve(library, a.easy_cleanup, "curl_easy_cleanup") &&
        Resolve(library, a.easy_setopt, "curl_easy_setopt") && Resolve(library, a.easy_pause, "curl_easy_pause") &&
        Resolve(library, a.easy_strerror, "curl_easy_strerror") && Resolve(library, a.multi_init, "curl_multi_init") &&
        Resolve(library, a.multi_cleanup, "curl_multi_cleanup") &&
        Resolve(library, a.multi_add_handle, "curl_multi_add_handle") &&
        Resolve(library, a.multi_remove_handle, "curl_multi_remove_handle") &&
        Resolve(library, a.multi_perform, "curl_multi_perform") && Resolve(library, a.multi_poll, "curl_multi_poll") &&
        Resolve(library, a.multi_info_read, "curl_multi_info_read") &&
        Resolve(library, a.multi_strerror, "curl_multi_strerror");
    a.ready = found && a.global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    return a;
  }();
  return api;
}

std::u16string CurlText(CURLcode code, const char* detail) {
  const std::string general = Curl().easy_strerror(code);
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
  CURLM* multi = Curl().multi_init();
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
    Curl().multi_cleanup(multi);
  }

  void End() {
    if (easy != nullptr) {
      Curl().multi_remove_handle(multi, easy);
      Curl().easy_cleanup(easy);
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
    const CURLMcode code = Curl().multi_perform(multi, &running);
    if (code != CURLM_OK) {
      done = true;
      result = CURLE_RECV_ERROR;
      std::strncpy(error, Curl().multi_strerror(code), sizeof error - 1);
    }
    int left = 0;
    while (CURLMsg* message = Curl().multi_info_read(multi, &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      done = true;
      result = message->data.result;
    }
  }

  // Runs the transfer until `until` holds or the transfer ends; libcurl's time-outs bound every wait.
  template <typename Until>
  void Run(Until until) {
    for (Perform(); !done && !until(); Perform()) Curl().multi_poll(multi, nullptr, 0, kPollMs, nullptr);
  }
};

void NetStream::ConnectionDeleter::operator()(Connection* connection) const { delete connection; }

bool NetStream::Connect(std::int64_t from) {
  if (!Curl().ready) return Fail(u"libcurl (libcurl.so.4) cannot be loaded or set up");
  if (!connection_) connection_.reset(new Connection);
  Connection& c = *connection_;
  c.End();
  c.easy = Curl().easy_init();
  if (c.multi == nullptr || c.easy == nullptr) return Fail(u"curl_easy_init failed");
  const std::string url = WideToUtf8(url_);
  const long timeout = timeoutSeconds_;
  CURL* e = c.easy;
  Curl().easy_setopt(e, CURLOPT_URL, url.c_str());
  Curl().easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https");
  Curl().easy_setopt(e, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  Curl().easy_setopt(e, CURLOPT_FOLLOWLOCATION, 1L);
  Curl().easy_setopt(e, CURLOPT_MAXREDIRS, kMaxRedirects);
  Curl().easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
  Curl().easy_setopt(e, CURLOPT_CONNECTTIMEOUT, timeout);
  // A stall: less than one byte a second for the whole time-out, headers or body alike.
  Curl().easy_setopt(e, CURLOPT_LOW_SPEED_LIMIT, 1L);
  Curl().easy_setopt(e, CURLOPT_LOW_SPEED_TIME, timeout);
  Curl().easy_setopt(e, CURLOPT_BUFFERSIZE, kReceiveBuffer);
  Curl().easy_setopt(e, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  Curl().easy_setopt(e, CURLOPT_ERRORBUFFER, c.error);
  Curl().easy_setopt(e, CURLOPT_HEADERFUNCTION, &Connection::OnHeader);
  Curl().easy_setopt(e, CURLOPT_HEADERDATA, &c);
  Curl().easy_setopt(e, CURLOPT_WRITEFUNCTION, &Connection::OnBody);
  Curl().easy_setopt(e, CURLOPT_WRITEDATA, &c);
  if (!userAgent_.empty()) Curl().easy_setopt(e, CURLOPT_USERAGENT, WideToUtf8(userAgent_).c_str());
  if (from > 0) Curl().easy_setopt(e, CURLOPT_RANGE, (std::to_string(from) + "-").c_str());
  // As the curl tool does, so that a private CA can be trusted without turning checks off.
  if (const char* bundle = std::getenv("CURL_CA_BUNDLE"); bundle != nullptr && *bundle != '\0')
    Curl().easy_setopt(e, CURLOPT_CAINFO, bundle);
  Curl().multi_add_handle(c.multi, e);

  c.Run([&] { return c.headDone; });
  // A finished transfer whose last head looked like a redirect was not followed: that head is the reply.
  if (!c.headDone && c.done && c.result == CURLE_OK && !c.head.empty()) c.headDone = true;
  if (!c.headDone) return Fail(CurlText(c.result, c.error));
  headers_ = c.head;
  return true;
}

// libcurl hands over whatever has arrived, so there is nothing to wait for beyond it.
NetStream::Fill NetStream::Receive(std::size_t /*wanted*/) {
  Connection& c = *connection_;
  c.room = buffer_.data() + end_;
  c.roomSize = buffer_.size() - end_;
  c.got = 0;
  if (c.paused) {
    // Hands over what was held back first, through OnBody.
    c.paused = false;
    Curl().easy_pause(c.easy, CURLPAUSE_CONT);
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
