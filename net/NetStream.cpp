#include "net/NetStream.h"

#include <algorithm>
#include <cstring>

#include "codec/Trace.h"
#include "io/Text.h"
#include "net/HttpHead.h"

NetStream::NetStream() = default;

NetStream::~NetStream() { Close(); }

bool NetStream::Open(std::u16string_view url, std::u16string_view userAgent, std::int32_t timeoutSeconds,
                     const TraceContext& log) {
  Close();
  url_ = url;
  userAgent_ = userAgent;
  timeoutSeconds_ = timeoutSeconds > 0 ? timeoutSeconds : kDefaultTimeoutSeconds;
  log_ = log;
  buffer_.assign(kReadAhead, 0);
  open_ = Request(0);
  // A failed Open keeps its status, head and reason for the caller.
  if (!open_) buffer_ = {};
  return open_;
}

void NetStream::Close() {
  Disconnect();
  connection_.reset();
  url_.clear();
  userAgent_.clear();
  buffer_ = {};
  begin_ = end_ = 0;
  headers_.clear();
  status_ = 0;
  length_.reset();
  acceptsRanges_ = false;
  position_ = 0;
  received_ = 0;
  open_ = connected_ = atEnd_ = failed_ = false;
  attempts_ = 0;
  errorText_.clear();
}

bool NetStream::Fail(std::u16string text) {
  failed_ = true;
  errorText_ = std::move(text);
  return false;
}

bool NetStream::Request(std::int64_t from) {
  Disconnect();
  begin_ = end_ = 0;
  headers_.clear();
  status_ = 0;
  connected_ = atEnd_ = failed_ = false;
  errorText_.clear();
  if (!Connect(from)) return Fail(std::move(errorText_));
  if (!AcceptReply(from)) {
    Disconnect();
    return false;
  }
  position_ = from;
  connected_ = !atEnd_;
  return true;
}

bool NetStream::AcceptReply(std::int64_t from) {
  const HttpHead head = HttpHead::Parse(headers_);
  status_ = head.status;
  // Asked from the end of the body or beyond: nothing left to read.
  if (from > 0 && status_ == 416) {
    if (head.rangeTotal) length_ = head.rangeTotal;
    atEnd_ = true;
    return true;
  }
  if (status_ < 200 || status_ > 299) {
    std::u16string text = u"HTTP status " + ToText(status_);
    if (!head.reason.empty()) text += u" (" + Latin1ToWide(head.reason) + u")";
    return Fail(std::move(text));
  }
  if (from == 0) {
    acceptsRanges_ = head.acceptsRanges || status_ == 206;
    length_ = status_ == 206 ? head.rangeTotal : head.contentLength;
    return true;
  }
  if (status_ != 206 || head.rangeFirst != from)
    return Fail(u"Range request from byte " + ToText(from) + u" answered with HTTP status " + ToText(status_));
  // Resuming into a file that was replaced meanwhile would splice two files.
  if (length_ && head.rangeTotal && *length_ != *head.rangeTotal)
    return Fail(u"Length changed from " + ToText(*length_) + u" to " + ToText(*head.rangeTotal) + u" bytes");
  acceptsRanges_ = true;
  if (head.rangeTotal) length_ = head.rangeTotal;
  return true;
}

std::int64_t NetStream::Read(void* buffer, std::int64_t count) {
  if (!open_ || failed_ || count <= 0 || buffer == nullptr) return 0;
  auto* out = static_cast<std::uint8_t*>(buffer);
  std::int64_t done = 0;
  while (done < count) {
    if (begin_ == end_ && !Refill(std::size_t(count - done))) break;
    const auto n = std::size_t(std::min<std::int64_t>(count - done, std::int64_t(end_ - begin_)));
    std::memcpy(out + done, buffer_.data() + begin_, n);
    begin_ += n;
    position_ += std::int64_t(n);
    done += std::int64_t(n);
  }
  return done;
}

bool NetStream::Refill(std::size_t wanted) {
  begin_ = end_ = 0;
  while (!atEnd_ && !failed_) {
    if (connected_) {
      const Fill fill = Receive(wanted);
      if (fill == Fill::Data) {
        attempts_ = 0;
        return true;
      }
      // Only a stated length tells a connection closed early from the end of the body,
      // and makes a failure after the last byte harmless.
      if (length_ ? position_ >= *length_ : fill == Fill::End) {
        atEnd_ = true;
        break;
      }
      if (fill == Fill::End)
        errorText_ = u"Connection closed at byte " + ToText(position_) + u" of " + ToText(*length_);
      connected_ = false;
    }
    if (!acceptsRanges_ || !length_ || attempts_ == kResumeAttempts) return Fail(std::move(errorText_));
    ++attempts_;
    TraceInformation(u"Connection lost at byte " + ToText(position_) + u" of " + url_ + u", resuming (attempt " +
                         ToText(attempts_) + u" of " + ToText(kResumeAttempts) + u").",
                     log_, "NetStream::Read");
    // A failed attempt leaves connected_ false and its reason in errorText_ for the next round.
    if (!Request(position_) && attempts_ < kResumeAttempts) failed_ = false;
  }
  return false;
}

bool NetStream::Seek(std::int64_t position) {
  if (!open_ || position < 0) return false;
  if (position == position_) return true;
  if (!acceptsRanges_) return false;
  // Within what the read-ahead holds (the engine reads a chunk head and steps back), no request.
  const std::int64_t held = position_ - std::int64_t(begin_);
  if (position >= held && position - held <= std::int64_t(end_)) {
    begin_ = std::size_t(position - held);
    position_ = position;
    return true;
  }
  attempts_ = 0;
  if (length_ && position >= *length_) {
    Disconnect();
    begin_ = end_ = 0;
    position_ = position;
    connected_ = failed_ = false;
    errorText_.clear();
    atEnd_ = true;
    return true;
  }
  return Request(position);
}

std::u16string NetStream::ContentType() const {
  const auto value = HttpHead::Field(headers_, "content-type");
  return value ? Latin1ToWide(*value) : std::u16string();
}
