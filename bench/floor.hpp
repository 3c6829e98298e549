// The floor of each workload: the same text, rendered by hand-written code from plain structs. It shows how
// much of a render's time the text itself costs.
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
