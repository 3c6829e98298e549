// `tovra render --watch`: renders again whenever what it reads has changed.
#include <cerrno>

#include "diff/text_diff.hpp"
#include "file_watch.hpp"
#include "output.hpp"
#include "output_file.hpp"
#include "request.hpp"

namespace tovra {

namespace {

class text_until_end : public gathered {
public:
  bool take_text(std::string_view piece) override { return !end_is_asked() && gathered::take_text(piece); }
};

// None after a failure, which is said.
std::optional<std::string> render_once(const options &asked) {
  request made(asked);
  if (made.load() != done) return std::nullopt;
  made.drop_tree();
  text_until_end text;
  return made.whole_text(text);
}

bool tell(const std::string &text) {
  if (write_all(STDOUT_FILENO, text)) return true;
  // A reader that has seen enough is no failure worth a word.
  if (errno != EPIPE) say("tovra: standard output cannot be written");
  return false;
}

// The files that a render reads beside the templates; none when one is no file that can be watched, which is
// said.
std::optional<std::vector<std::string>> files_of(const options &asked) {
  std::vector<std::string> sources = asked.classes;
  sources.push_back(asked.data);
  for (const auto &[name, data] : asked.named) sources.push_back(data);
  std::vector<std::string> files;
  for (const std::string &source : sources) {
    const auto found = data_files(source);
    files.insert(files.end(), found.begin(), found.end());
    if (!found.empty()) continue;
    say("tovra: --watch: " + data_name(source) + " cannot be watched");
    return std::nullopt;
  }
  return files;
}

class watched_render {
public:
  explicit watched_render(const options &asked) : asked_(asked) {}

  bool whole() const { return whole_; }
  // False: standard output is taken no longer.
  bool render_first() {
    auto text = render_once(asked_);
    whole_ = text.has_value();
    return !text || take_first(std::move(*text));
  }
  bool render_again(const std::string &changed) {
    say("-- " + changed + " changed");
    auto text = render_once(asked_);
    whole_ = text.has_value();
    if (!text) return true;
    if (!last_) return take_first(std::move(*text));
    if (*text == *last_) {
      say("-- the text is the same");
      return true;
    }
    const auto changes = diff::sections_changed(*last_, *text);
    const bool told = tell(diff::by_section(changes, {is_colored(STDOUT_FILENO)}));
    write(*text);
    last_ = std::move(text);
    return told;
  }

private:
  bool take_first(std::string text) {
    last_ = std::move(text);
    if (!asked_.output) return tell(*last_);
    write(*last_);
    return true;
  }
  void write(const std::string &text) {
    if (!asked_.output) return;
    const std::string why = write_file(*asked_.output, text);
    if (why.empty()) return;
    say("tovra: --output " + why);
    whole_ = false;
  }

  const options &asked_;
  std::optional<std::string> last_; // the last whole text
  bool whole_ = false;
};

} // namespace

int render_watched(const options &asked) {
  const auto files = files_of(asked);
  if (!files) return wrong_usage;
  if (!start_library()) return failed;
  const auto directories = template_directories(asked.templates);
  if (!directories) return failed;
  file_watch watch(*directories, *files);
  watched_render made(asked);
  bool told = watch.good() && made.render_first();
  while (told && !end_is_asked()) {
    const auto changed = watch.next();
    if (!changed) break;
    told = made.render_again(*changed);
  }
  return told && end_is_asked() && made.whole() ? done : failed;
}

} // namespace tovra
