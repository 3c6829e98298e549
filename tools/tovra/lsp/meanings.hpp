// The meanings of keywords and ops, in one sentence each.
#pragma once

#include <string_view>

#include "zu_tovra/internal/keywords.hpp"

namespace tovra::lsp {

struct keyword_meaning {
  const char *what;
  const char *value; // what comes after the keyword
  const char *ops;   // the ops of records that read it
};

const keyword_meaning &meaning_of(tvr::word keyword); // not for `none`
const char *meaning_of_op(std::string_view op);       // null when it is not an op
bool reads(std::string_view op, tvr::word keyword);

} // namespace tovra::lsp
