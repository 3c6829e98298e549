// One device of a fleet: rendered, and its text put where it belongs.
#include "render_device.hpp"

#include <mutex>

#include "../check/read_file.hpp"
#include "../output.hpp"
#include "../output_file.hpp"

namespace tovra::fleet {

namespace {

outcome put(const std::string &file, const std::string &text) {
  std::string old;
  if (check::read_file(file, old) == 0 && old == text) return outcome::unchanged;
  const std::string why = write_file(file, text);
  if (!why.empty()) say(why);
  return why.empty() ? outcome::changed : outcome::failed;
}

outcome render(const device &one, options asked, preparation &prepared, const std::string &folder) {
  asked.data = one.data;
  request made(asked, prepared);
  if (made.load() != done) return outcome::failed;
  gathered text;
  const auto whole = made.whole_text(text);
  return whole ? put(folder + "/" + file_name_of(one.name), *whole) : outcome::failed;
}

} // namespace

outcome render_device(const device &one, const options &asked, preparation &prepared,
                      const std::string &folder) {
  outcome made;
  std::string told;
  {
    const kept_lines said;
    made = render(one, asked, prepared, folder);
    told = said.text();
  }
  static std::mutex telling; // lines of one device stand together
  const std::lock_guard alone(telling);
  say_lines(told, one.name + ": ");
  return made;
}

} // namespace tovra::fleet
