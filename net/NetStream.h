// A forward-reading stream of an http:// or https:// address for the
// streaming engine: one GET at a time through the platform's HTTP library
// (WinHTTP on Windows, libcurl elsewhere), pulled by Read through a read-ahead
// buffer of fixed size, byte-range seeks, and a connection lost in the middle
// of the body resumed from the byte reached.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "WavePlugin.h"

class NetStream {
 public:
  // The read-ahead buffer: network reads are this large whatever the callers ask for.
  static constexpr std::size_t kReadAhead = 256 * 1024;
  // Used when Open is given no time-out above 0. A time-out bounds connecting and every wait for data.
  static constexpr std::int32_t kDefaultTimeoutSeconds = 30;
  // Range requests tried after one lost connection before Read gives up.
  static constexpr int kResumeAttempts = 3;

  NetStream();
  ~NetStream();
  NetStream(const NetStream&) = delete;
  NetStream& operator=(const NetStream&) = delete;

  // GETs url (following redirects, certificates checked) and reads the reply's head; false on any failure.
  bool Open(std::u16string_view url, std::u16string_view userAgent, std::int32_t timeoutSeconds,
            const TraceContext& log);
  // Ends the request and forgets the reply; the destructor calls it.
  void Close();

  // Reads up to count bytes; fewer only at the end of the body or when Failed().
  std::int64_t Read(void* buffer, std::int64_t count);
  // Moves the next Read to position (reads past the end return 0); false, nothing changed, when !CanSeek().
  bool Seek(std::int64_t position);

  // True from a successful Open to Close.
  bool IsOpen() const { return open_; }
  // True once a request or a read has failed beyond recovery; ErrorText() says why.
  bool Failed() const { return failed_; }
  // What the server or the library answered to the failed operation.
  const std::u16string& ErrorText() const { return errorText_; }
  // The latest reply's HTTP status (206 after a seek), 0 before one arrived.
  int Status() const { return status_; }
  // The latest reply's status and header lines as received, each ended by CR LF.
  std::string_view Headers() const { return headers_; }
  // The value of the Content-Type header, empty when there is none.
  std::u16string ContentType() const;
  // The body's length from its start, when the reply stated it.
  std::optional<std::int64_t> Length() const { return length_; }
  // True when the server accepts byte ranges.
  bool CanSeek() const { return acceptsRanges_; }
  // The byte position of the next Read.
  std::int64_t Position() const { return position_; }
  // Body bytes received from the network so far, over every request.
  std::int64_t BytesReceived() const { return received_; }
  // The read-ahead buffer's allocation in bytes.
  std::size_t BufferCapacity() const { return buffer_.capacity(); }

 private:
  enum class Fill { Data, End, Error };
  // The request in flight, as the platform's library keeps it.
  struct Connection;
  struct ConnectionDeleter {
    void operator()(Connection* connection) const;
  };

  // Starts a GET from byte `from` and checks its reply; on success the next Read returns byte `from`.
  bool Request(std::int64_t from);
  // Takes status_ and headers_ of a reply to a request from `from` into length_ and acceptsRanges_.
  bool AcceptReply(std::int64_t from);
  // Empties the buffer and fills it from the network, resuming a lost connection when allowed;
  // `wanted` is what the read in progress still needs.
  bool Refill(std::size_t wanted);
  bool Fail(std::u16string text);

  // Platform: sends the GET (with a range when from > 0) and waits for the final reply's head,
  // setting status_ and headers_, or errorText_.
  bool Connect(std::int64_t from);
  // Platform: appends to buffer_ after end_ at least one byte, or tells the end of the body or a
  // failure (errorText_). It waits for no more than `wanted` bytes: beyond them it takes only what has arrived.
  Fill Receive(std::size_t wanted);
  // Platform: ends the request in flight, if any.
  void Disconnect();

  std::u16string url_;
  std::u16string userAgent_;
  std::int32_t timeoutSeconds_ = kDefaultTimeoutSeconds;
  TraceContext log_{};
  std::unique_ptr<Connection, ConnectionDeleter> connection_;

  std::vector<std::uint8_t> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;

  std::string headers_;
  int status_ = 0;
  std::optional<std::int64_t> length_;
  bool acceptsRanges_ = false;
  std::int64_t position_ = 0;
  std::int64_t received_ = 0;
  bool open_ = false;
  bool connected_ = false;
  bool atEnd_ = false;
  bool failed_ = false;
  int attempts_ = 0;
  std::u16string errorText_;
};
