// Follows a render.
#include "watch.hpp"

#include <algorithm>

namespace tovra::follow {

bool watch::follow(request &made) {
  const auto tell = [](void *self, const zu_tvr_event *event) { static_cast<watch *>(self)->take(*event); };
  const zu_tvr_observer observer = {tell, this, UINT32_MAX};
  return made.render(*this, &observer);
}

const std::string &watch::record() const {
  static const std::string none;
  const auto found =
      std::find_if(steps_.rbegin(), steps_.rend(), [](const step &step) { return !step.record.empty(); });
  return found != steps_.rend() ? found->record : none;
}

// The first newline of the text is not printed, so it does not begin a line.
watch::written_piece watch::place(const char *text) {
  std::string_view rest = text;
  if (!any_ && rest.starts_with('\n')) rest.remove_prefix(1);
  any_ = any_ || text[0] != '\0';
  written_piece made{rest, line_, line_};
  if (rest.starts_with('\n')) {
    ++made.first_line;
    made.text.remove_prefix(1);
  }
  line_ += static_cast<uint64_t>(std::count(rest.begin(), rest.end(), '\n'));
  made.last_line = line_;
  return made;
}

void watch::take(const zu_tvr_event &event) {
  switch (event.kind) {
  case ZU_TVR_EVENT_ENTER:
    steps_.push_back({event.node, ""});
    entered();
    break;
  case ZU_TVR_EVENT_LEAVE:
    left();
    steps_.pop_back();
    break;
  case ZU_TVR_EVENT_LINE:
    line(event, place(event.text));
    break;
  default:
    if (event.kind == ZU_TVR_EVENT_RECORD && !steps_.empty()) {
      steps_.back().record = event.uri != nullptr ? event.uri : "";
    }
    other(event);
  }
}

} // namespace tovra::follow
