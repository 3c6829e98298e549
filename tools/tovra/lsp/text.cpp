// A text with the protocol's positions.
#include "text.hpp"

#include <algorithm>

namespace tovra::lsp {

namespace {

// The length in bytes of the first character of a text that is not empty; 1 for a byte that begins no
// character.
size_t length_of(std::string_view at) {
  const auto lead = static_cast<unsigned char>(at[0]);
  const size_t wanted = lead < 0xc2 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : lead < 0xf5 ? 4 : 1;
  if (at.size() < wanted) return 1;
  const bool whole = std::all_of(at.begin() + 1, at.begin() + static_cast<std::ptrdiff_t>(wanted),
                                 [](char c) { return (c & 0xc0) == 0x80; });
  return whole ? wanted : 1;
}

size_t units_of(size_t length) {
  return length == 4 ? 2 : 1;
}

size_t last_start(const std::vector<size_t> &starts, size_t offset) {
  return static_cast<size_t>(std::upper_bound(starts.begin(), starts.end(), offset) - starts.begin()) - 1;
}

} // namespace

text::text(std::string bytes) : bytes_(std::move(bytes)) {
  find_lines();
}

void text::find_lines() {
  starts_ = {0};
  loader_starts_ = {0};
  for (size_t at = bytes_.find_first_of("\r\n"); at != bytes_.npos; at = bytes_.find_first_of("\r\n", at)) {
    const bool line_feed = bytes_[at] == '\n' || (at + 1 < bytes_.size() && bytes_[at + 1] == '\n');
    at += bytes_[at] == '\r' && line_feed ? 2 : 1;
    starts_.push_back(at);
    if (line_feed) loader_starts_.push_back(at);
  }
}

size_t text::offset_of(position at) const {
  if (at.line >= starts_.size()) return bytes_.size();
  const bool last = at.line + 1 == starts_.size();
  std::string_view line(bytes_);
  line = line.substr(starts_[at.line], last ? line.npos : starts_[at.line + 1] - starts_[at.line]);
  line = line.substr(0, std::min(line.find_first_of("\r\n"), line.size()));
  size_t offset = 0;
  for (size_t units = 0; offset < line.size();) {
    const size_t length = length_of(line.substr(offset));
    units += units_of(length);
    if (units > at.character) break;
    offset += length;
  }
  return starts_[at.line] + offset;
}

position text::position_of(size_t offset) const {
  offset = std::min(offset, bytes_.size());
  position made{last_start(starts_, offset), 0};
  for (size_t at = starts_[made.line]; at < offset;) {
    const size_t length = length_of(std::string_view(bytes_).substr(at));
    at += length;
    made.character += units_of(length);
  }
  return made;
}

void text::replace(const range &where, std::string_view with) {
  const size_t begin = offset_of(where.start), end = std::max(begin, offset_of(where.end));
  bytes_.replace(begin, end - begin, with);
  find_lines();
}

span text::loader_line(int number) const {
  if (number < 1 || static_cast<size_t>(number) > loader_starts_.size())
    return {bytes_.size(), bytes_.size()};
  const size_t begin = loader_starts_[static_cast<size_t>(number) - 1];
  size_t end = std::min(bytes_.find('\n', begin), bytes_.size());
  if (end > begin && bytes_[end - 1] == '\r') --end;
  return {begin, end};
}

int text::loader_line_at(size_t offset) const {
  return static_cast<int>(last_start(loader_starts_, std::min(offset, bytes_.size()))) + 1;
}

std::optional<change> change_between(const text &before, const std::string &after) {
  const std::string &old = before.bytes();
  if (old == after) return std::nullopt;
  const size_t most = std::min(old.size(), after.size());
  const auto middle = old.begin() + static_cast<std::ptrdiff_t>(most);
  auto begin = static_cast<size_t>(std::mismatch(old.begin(), middle, after.begin()).first - old.begin());
  begin = begin == 0 ? 0 : old.rfind('\n', begin - 1) + 1;
  size_t same = 0; // number of equal bytes at the end
  while (same < most - begin && old[old.size() - same - 1] == after[after.size() - same - 1]) ++same;
  const size_t line = old.find('\n', old.size() - same);
  const size_t kept = same == 0 || line == old.npos ? 0 : old.size() - line - 1;
  return change{before.range_of({begin, old.size() - kept}),
                after.substr(begin, after.size() - kept - begin)};
}

} // namespace tovra::lsp
