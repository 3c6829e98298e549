// The compiled URI templates of a tree: equal templates share one, so that a walk remembers for all of them
// at once what one of them named.
#pragma once

#include "zu_tovra/internal/own.hpp"
#include "zu_tovra/uri.h"

struct zu_tvr_uri_programs;

namespace tvr {

// None when memory is exhausted.
[[nodiscard]] zu_tvr_uri_programs *uri_programs_new() noexcept;
// After the templates that share its programs; none is ignored.
void uri_programs_delete(zu_tvr_uri_programs *programs) noexcept;

// As zu_tvr_uri_new, with a program of the set, which may be none: then the template has its own.
[[nodiscard]] zu_tvr_uri *uri_new_shared(const char *text, zu_tvr_uri_programs *programs) noexcept;

} // namespace tvr
