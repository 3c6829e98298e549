// Runs steps of a fleet that may fail because of a server.
#pragma once

#include <new>
#include <string>

#include "../output.hpp"
#include "store/source.hpp"

namespace tovra::fleet {

// Runs a step. False after a failure, which is reported with `about` before it.
template <class Step>
bool reported(const std::string &about, Step &&step) {
  try {
    step();
    return true;
  } catch (const store::source_failure &failure) {
    say(about + ": " + failure.message);
  } catch (const std::bad_alloc &) {
    say(about + ": out of memory");
  }
  return false;
}

} // namespace tovra::fleet
