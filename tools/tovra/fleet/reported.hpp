// Steps of a fleet that a server may fail.
#pragma once

#include <new>
#include <string>

#include "../output.hpp"
#include "store/source.hpp"

namespace tovra::fleet {

// Runs a step; false after a failure, which is said behind `about`.
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
