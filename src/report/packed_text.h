// Text kept deflated while it grows, for a page that carries it as base64.

#ifndef TABRUN_REPORT_PACKED_TEXT_H_
#define TABRUN_REPORT_PACKED_TEXT_H_

#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct z_stream_s;

namespace tabrun {

// Where a page goes, piece by piece.
using PageSink = std::function<void(std::string_view)>;

// Text appended in pieces and compressed as it comes, so that memory holds little more than
// the compressed bytes: one zlib stream (RFC 1950, which a browser's
// DecompressionStream("deflate") reads). The same text always gives the same bytes.
class PackedText {
 public:
  // How the text is compressed: kText finds repeated strings, as in names; kFigures only codes
  // each byte by its frequency, which is smaller and twice as fast on columns of numbers.
  enum class Kind { kText, kFigures };

  explicit PackedText(Kind kind = Kind::kText);
  ~PackedText();
  PackedText(const PackedText&) = delete;
  PackedText& operator=(const PackedText&) = delete;

  // Adds `text` at the end. REQUIRES: WriteBase64 has not been called.
  void Append(std::string_view text) {
    pending_.append(text);
    if (pending_.size() >= kBlock) Deflate(false);
  }

  // Ends the stream and writes it to `sink` as base64 (RFC 4648, with padding, no line
  // breaks), in pieces of at most 64 KiB. REQUIRES: called once.
  void WriteBase64(const PageSink& sink);

 private:
  // Appended text is compressed in blocks of this size: fewer calls into zlib, little memory.
  static constexpr std::size_t kBlock = 32 << 10;

  // Compresses what pending_ holds; with `finish`, ends the stream.
  void Deflate(bool finish);

  std::unique_ptr<z_stream_s> stream_;
  std::string pending_;  // appended text not yet compressed
  std::string packed_;   // the compressed bytes so far
};

}  // namespace tabrun

#endif  // TABRUN_REPORT_PACKED_TEXT_H_
