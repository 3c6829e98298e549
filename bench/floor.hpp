// The floor of each workload: the same text, rendered by hand from plain structs.
#pragma once

#include "edge.hpp"
#include "router.hpp"
#include "text.hpp"

namespace bench {

void render(const router &router, text &out);

} // namespace bench

namespace bench::edge {

void render(const device &device, text &out);

} // namespace bench::edge
