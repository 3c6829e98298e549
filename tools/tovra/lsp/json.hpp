// Converts places to the protocol's JSON.
#pragma once

#include <nlohmann/json.hpp>

#include "files.hpp"

namespace tovra::lsp {

using json = nlohmann::ordered_json;

inline json as_json(const position &at) {
  return {{"line", at.line}, {"character", at.character}};
}

inline json as_json(const range &where) {
  return {{"start", as_json(where.start)}, {"end", as_json(where.end)}};
}

inline json location_json(const files &files, const std::string &path, span where) {
  return {{"uri", files.uri_of(path)}, {"range", as_json(files.text_of(path)->range_of(where))}};
}

} // namespace tovra::lsp
