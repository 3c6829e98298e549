// Renders one device of a fleet and stores its text.
#include "render_device.hpp"

#include <mutex>

#include "../output.hpp"

namespace tovra::fleet {

namespace {

outcome render(const device &one, options asked, preparation &prepared, texts &to) {
  asked.data = one.data;
  request made(asked, prepared);
  if (made.load() != done) return outcome::failed;
  gathered text;
  const auto whole = made.whole_text(text);
  return whole ? to.put(one.name, *whole) : outcome::failed;
}

} // namespace

outcome render_device(const device &one, const options &asked, preparation &prepared, texts &to) {
  outcome made;
  std::string told;
  {
    const kept_lines said;
    made = render(one, asked, prepared, to);
    told = said.text();
  }
  static std::mutex telling; // keeps the lines of one device together
  const std::lock_guard alone(telling);
  say_lines(told, one.name + ": ");
  return made;
}

} // namespace tovra::fleet
