#include <gtest/gtest.h>

#include "net/HttpHead.h"

TEST(HttpHead, WhatTheHeadSaysAboutTheBody) {
  using Size = std::optional<std::int64_t>;
  const struct {
    const char* head;
    int status;
    const char* reason;
    Size length;
    bool ranges;
    Size first;
    Size total;
  } cases[] = {
      {"HTTP/1.1 200 OK\r\nContent-Length: 1500\r\nAccept-Ranges: bytes\r\n", 200, "OK", 1500, true, {}, {}},
      {"HTTP/1.1 206 Partial Content\r\ncontent-range: bytes 100-1499/1500\r\nCONTENT-LENGTH:1400\r\n", 206,
       "Partial Content", 1400, false, 100, 1500},
      // Chunked framing overrides any length; the encodings are a list.
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip, Chunked\r\nContent-Length: 10\r\n", 200, "OK", {}, false, {}, {}},
      {"HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999\r\n", 200, "OK", {}, false, {}, {}},
      {"HTTP/1.1 200 OK\r\nContent-Length: 12a\r\nAccept-Ranges: none\r\n", 200, "OK", {}, false, {}, {}},
      {"HTTP/1.0 200 OK\nContent-Length: \t42 \nAccept-Ranges: none, bytes\n", 200, "OK", 42, true, {}, {}},
      {"HTTP/2 404\r\n", 404, "", {}, false, {}, {}},
      {"HTTP/1.1 416 Unsatisfiable\r\nContent-Range: bytes */1500\r\n", 416, "Unsatisfiable", {}, false, {}, 1500},
      {"ICY 200 OK\r\nContent-Length: 5\r\n", 0, "", 5, false, {}, {}},
      {"HTTP/1.1 2000 Odd\r\nContent-Range: bytes 5-9/*\r\n", 0, "", {}, false, 5, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.head);
    const HttpHead head = HttpHead::Parse(c.head);
    EXPECT_EQ(head.status, c.status);
    EXPECT_EQ(head.reason, c.reason);
    EXPECT_EQ(head.contentLength, c.length);
    EXPECT_EQ(head.acceptsRanges, c.ranges);
    EXPECT_EQ(head.rangeFirst, c.first);
    EXPECT_EQ(head.rangeTotal, c.total);
  }
}
