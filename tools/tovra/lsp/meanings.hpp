// What keywords and ops mean, in a sentence each.
#pragma once

#include <string_view>

#include "zu_tovra/internal/keywords.hpp"

namespace tovra::lsp {

struct keyword_meaning {
  const char *what;
  const char *value; // what stands behind the keyword
  const char *ops;   // of the records that read it
};

const keyword_meaning &meaning_of(tvr::word keyword); // not none
const char *meaning_of_op(std::string_view op);       // none of what is no op
bool reads(std::string_view op, tvr::word keyword);

} // namespace tovra::lsp
