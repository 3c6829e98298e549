// Finds the token at a place of a template file, and the places that have to do with it.
#include "token.hpp"

#include <algorithm>

namespace tovra::lsp {

namespace {

constexpr std::string_view blanks = " \t\v\f\r";

span trimmed(const std::string &bytes, span part) {
  while (part.begin < part.end && blanks.find(bytes[part.begin]) != blanks.npos) ++part.begin;
  while (part.end > part.begin && blanks.find(bytes[part.end - 1]) != blanks.npos) --part.end;
  return part;
}

std::string cut(const text &of, span part) {
  return of.bytes().substr(part.begin, part.end - part.begin);
}

bool covers(span part, size_t offset) {
  return part.begin <= offset && offset <= part.end;
}

// Takes the token of a line of properties: its URI, or the name of a property.
void take_property_token(token &made, const text &of, span value, size_t offset) {
  const auto words = words_of(of, value);
  for (size_t i = 0; i < words.size(); ++i) {
    if (!covers(words[i], offset)) continue;
    span name = words[i];
    if (i > 0) name.end = std::min(of.bytes().find(':', name.begin), name.end);
    if (!covers(name, offset)) return;
    made.kind = i == 0 ? token_kind::uri : token_kind::property;
    made.where = name;
    return;
  }
}

} // namespace

std::vector<span> words_of(const text &of, span part) {
  std::vector<span> words;
  for (size_t at = part.begin; at < part.end;) {
    at = std::min(of.bytes().find_first_not_of(blanks, at), part.end);
    const size_t end = std::min(of.bytes().find_first_of(blanks, at), part.end);
    if (at < end) words.push_back({at, end});
    at = end;
  }
  return words;
}

keyword_line keyword_line_at(const text &of, int line) {
  const span whole = trimmed(of.bytes(), of.loader_line(line));
  const std::string_view text = std::string_view(of.bytes()).substr(whole.begin, whole.end - whole.begin);
  keyword_line made;
  made.keyword = tvr::find_keyword(text);
  const size_t length = made.keyword != word::none ? tvr::keyword_of(made.keyword).text.size()
                                                   : std::min(text.find_first_of(blanks), text.size());
  made.name = {whole.begin, whole.begin + length};
  made.value = {made.name.end, of.loader_line(line).end};
  return made;
}

bool names_id(const record &record, word keyword) {
  if (keyword == word::cmd || keyword == word::parent) return true;
  return (keyword == word::dest || keyword == word::fmt) && record.is("push_mode");
}

token token_at(const workspace &in, const std::string &path, size_t offset) {
  const auto of = in.files().text_of(path);
  const int number = of->loader_line_at(offset);
  const keyword_line line = keyword_line_at(*of, number);
  token made;
  made.keyword = line.keyword;
  made.in = in.record_at(path, number);
  made.value = cut(*of, line.value);
  const span value = trimmed(of->bytes(), line.value);
  made.where = value;
  if (line.keyword == word::none) return made;
  if (offset < line.name.end) {
    made.kind = token_kind::keyword;
    made.where = line.name;
  } else if (line.keyword == word::op) {
    made.kind = token_kind::op;
  } else if (line.keyword == word::uri) {
    made.kind = token_kind::uri;
  } else if (line.keyword == word::props || line.keyword == word::location) {
    take_property_token(made, *of, value, offset);
  } else if (line.keyword == word::orderby) {
    made.kind = token_kind::property;
  } else if (made.in != nullptr && names_id(*made.in, line.keyword)) {
    made.kind = token_kind::id;
  }
  made.text = cut(*of, made.where);
  return made;
}

std::vector<occurrence> occurrences_of(const workspace &in, const std::string &id) {
  std::vector<occurrence> found;
  for (const record &record : in.set().records) {
    for (const check::line &line : record.lines) {
      if (!names_id(record, line.keyword) || check::trimmed(line.value) != id) continue;
      const auto of = in.files().text_of(record.file);
      const span where = trimmed(of->bytes(), keyword_line_at(*of, line.number).value);
      found.push_back({record.file, where, &record, line.keyword == word::cmd});
    }
  }
  return found;
}

std::vector<const record *> readers_of(const workspace &in, const record &node, const std::string &uri) {
  std::vector<const record *> found;
  const handle<zu_tvr_uri, zu_tvr_uri_delete> made(zu_tvr_uri_new(uri.c_str()));
  const auto pattern = made ? check::pattern_of(*made) : std::nullopt;
  if (!pattern) return found;
  for (const check::visit &visit : in.ways().visits) {
    if (visit.at != &node) continue;
    const check::scope_entry *entry = check::entry_for(visit.in, *made, *pattern);
    if (entry != nullptr && std::find(found.begin(), found.end(), entry->by) == found.end()) {
      found.push_back(entry->by);
    }
  }
  return found;
}

} // namespace tovra::lsp
