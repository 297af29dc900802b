#include "report/packed_text.h"

#include <zlib.h>

#include <cstdint>
#include <new>

namespace tabrun {
namespace {

void AppendBase64(std::string_view bytes, std::string* out) {
  static constexpr char kAlphabet[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::size_t i = 0;
  std::size_t at = out->size();
  out->resize(at + bytes.size() / 3 * 4);
  for (; i + 3 <= bytes.size(); i += 3, at += 4) {
    const std::uint32_t group = static_cast<std::uint8_t>(bytes[i]) << 16 |
                                static_cast<std::uint8_t>(bytes[i + 1]) << 8 |
                                static_cast<std::uint8_t>(bytes[i + 2]);
    for (int k = 0; k < 4; ++k) (*out)[at + k] = kAlphabet[(group >> (18 - 6 * k)) & 63];
  }
  if (i == bytes.size()) return;
  const bool two = i + 2 == bytes.size();
  const std::uint32_t group = static_cast<std::uint8_t>(bytes[i]) << 16 |
                              (two ? static_cast<std::uint8_t>(bytes[i + 1]) << 8 : 0);
  out->push_back(kAlphabet[group >> 18]);
  out->push_back(kAlphabet[(group >> 12) & 63]);
  out->push_back(two ? kAlphabet[(group >> 6) & 63] : '=');
  out->push_back('=');
}

}  // namespace

PackedText::PackedText(Kind kind) : stream_(std::make_unique<z_stream_s>()) {
  const int strategy = kind == Kind::kText ? Z_DEFAULT_STRATEGY : Z_HUFFMAN_ONLY;
  if (deflateInit2(stream_.get(), Z_BEST_SPEED, Z_DEFLATED, MAX_WBITS, 8, strategy) != Z_OK) {
    throw std::bad_alloc();
  }
}

PackedText::~PackedText() { deflateEnd(stream_.get()); }

void PackedText::Deflate(bool finish) {
  z_stream_s& z = *stream_;
  z.next_in = reinterpret_cast<Bytef*>(pending_.data());
  z.avail_in = static_cast<uInt>(pending_.size());
  int result = Z_OK;
  // Without `finish`, zlib takes all the input once it has room to write; with it, it is done
  // when it says Z_STREAM_END.
  while (finish ? result != Z_STREAM_END : z.avail_in != 0) {
    const std::size_t had = packed_.size();
    packed_.resize(had + kBlock);
    z.next_out = reinterpret_cast<Bytef*>(packed_.data() + had);
    z.avail_out = static_cast<uInt>(kBlock);
    result = deflate(&z, finish ? Z_FINISH : Z_NO_FLUSH);
    packed_.resize(had + kBlock - z.avail_out);
  }
  pending_.clear();
}

void PackedText::WriteBase64(const PageSink& sink) {
  Deflate(true);
  constexpr std::size_t kPiece = 48 << 10;  // a multiple of 3 bytes: no padding inside
  std::string text;
  for (std::size_t at = 0; at < packed_.size(); at += kPiece) {
    text.clear();
    AppendBase64(std::string_view(packed_).substr(at, kPiece), &text);
    sink(text);
  }
  std::string().swap(packed_);
}

}  // namespace tabrun
