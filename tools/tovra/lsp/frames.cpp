// Splits a stream of bytes into messages.
#include "frames.hpp"

#include <algorithm>
#include <charconv>
#include <optional>
#include <strings.h>

namespace tovra::lsp {

namespace {

constexpr size_t longest_header = 4096;
constexpr std::string_view header_end = "\r\n\r\n";

bool is_length(std::string_view name) {
  constexpr std::string_view wanted = "Content-Length";
  return name.size() == wanted.size() && strncasecmp(name.data(), wanted.data(), wanted.size()) == 0;
}

std::optional<uint64_t> number_in(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  text = text.substr(0, text.find_last_not_of(" \t") + 1);
  uint64_t number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

std::optional<uint64_t> length_in(std::string_view header) {
  std::optional<uint64_t> length;
  while (!header.empty()) {
    const size_t end = std::min(header.find("\r\n"), header.size());
    const std::string_view line = header.substr(0, end);
    header.remove_prefix(std::min(end + 2, header.size()));
    const size_t colon = line.find(':');
    if (colon == line.npos) return std::nullopt;
    if (!is_length(line.substr(0, colon))) continue;
    length = number_in(line.substr(colon + 1));
    if (!length) return std::nullopt;
  }
  return length;
}

} // namespace

frame_kind frame_reader::read_header() {
  const size_t end = bytes_.find(header_end);
  if (std::min(end, bytes_.size()) > longest_header) return frame_kind::broken;
  if (end == bytes_.npos) return frame_kind::none;
  const auto length = length_in(std::string_view(bytes_).substr(0, end));
  if (!length) return frame_kind::broken;
  bytes_.erase(0, end + header_end.size());
  wanted_ = *length;
  at_ = wanted_ <= longest_message ? place::body : place::left_out;
  return frame_kind::message;
}

frame_kind frame_reader::leave_out() {
  const size_t here = std::min<uint64_t>(wanted_, bytes_.size());
  bytes_.erase(0, here);
  wanted_ -= here;
  if (wanted_ != 0) return frame_kind::none;
  at_ = place::header;
  return frame_kind::too_long;
}

frame_kind frame_reader::next(std::string &message) {
  if (at_ == place::header) {
    if (const frame_kind read = read_header(); read != frame_kind::message) return read;
  }
  if (at_ == place::left_out) return leave_out();
  if (bytes_.size() < wanted_) return frame_kind::none;
  message = bytes_.substr(0, wanted_);
  bytes_.erase(0, wanted_);
  at_ = place::header;
  return frame_kind::message;
}

std::string framed(std::string_view message) {
  return "Content-Length: " + std::to_string(message.size()) + std::string(header_end) + std::string(message);
}

} // namespace tovra::lsp
