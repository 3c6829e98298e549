// One device of a fleet: rendered, and its text put where it belongs.
#include "render_device.hpp"

#include <mutex>

#include "../check/read_file.hpp"
#include "../output.hpp"
#include "../output_file.hpp"

namespace tovra::fleet {

namespace {

constexpr size_t most_errors = 10; // told of a device: thousands say no more than the first ones

class device_text : public gathered {
public:
  void take_error(const zu_tovra::error &error) override {
    if (++errors_ <= most_errors) gathered::take_error(error);
  }
  void say_rest() const {
    if (errors_ > most_errors) say(std::to_string(errors_ - most_errors) + " more errors");
  }

private:
  size_t errors_ = 0;
};

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
  device_text text;
  const bool whole = made.load() == done && made.render(text);
  text.say_rest();
  return whole ? put(folder + "/" + file_name_of(one.name), text.take()) : outcome::failed;
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
