// Explains lines of the text.
#include "lines.hpp"

#include "../follow/reasons.hpp"

namespace tovra::explain {

using nlohmann::ordered_json;

void line_watch::complete() {
  if (current_.number != 0 && wanted_(current_.number)) take_(current_);
}

void line_watch::start(uint64_t number) {
  if (current_.number == number) return;
  complete();
  current_ = {number, "", {}};
}

void line_watch::line(const zu_tvr_event &event, const written_piece &piece) {
  std::string_view rest = piece.text;
  for (uint64_t number = piece.first_line;; ++number) {
    start(number);
    const size_t end = std::min(rest.find('\n'), rest.size());
    if (wanted_(number)) {
      current_.text += rest.substr(0, end);
      current_.sources.push_back({steps(), values_of(event)});
    }
    if (end == rest.size()) break;
    rest.remove_prefix(end + 1);
  }
}

namespace {

// The root is left out of explanations: it does nothing.
bool is_root(const zu_tvr_node &node) {
  return node.parent == nullptr && zu_tvr_node_file(&node) == nullptr;
}

ordered_json node_json(const zu_tvr_node &node) {
  ordered_json made = ordered_json::object();
  made["node"] = zu_tvr_node_id(&node);
  if (const char *file = zu_tvr_node_file(&node)) {
    made["file"] = file;
    made["line"] = zu_tvr_node_line(&node);
  }
  return made;
}

} // namespace

std::string as_text(const explained_line &line) {
  std::string text = std::to_string(line.number) + ": " + line.text + "\n";
  for (const source &source : line.sources) {
    const zu_tvr_node &node = *source.steps.back().node;
    text += "  " + place_of(node) + "\n" + as_text(source.values, "    ");
    const std::string condition = follow::condition_of(node);
    if (!condition.empty()) text += "    condition " + condition + "\n";
    for (size_t i = source.steps.size() - 1; i-- > 0;) {
      const follow::step &above = source.steps[i];
      if (is_root(*above.node)) continue;
      text += "    below " + place_of(*above.node);
      text += above.record.empty() ? "\n" : ", record " + above.record + "\n";
    }
  }
  return text;
}

ordered_json as_json(const explained_line &line) {
  ordered_json sources = ordered_json::array();
  for (const source &source : line.sources) {
    ordered_json made = node_json(*source.steps.back().node);
    const std::string condition = follow::condition_of(*source.steps.back().node);
    made["values"] = as_json(source.values);
    if (!condition.empty()) made["condition"] = condition;
    ordered_json above = ordered_json::array();
    for (size_t i = source.steps.size() - 1; i-- > 0;) {
      if (is_root(*source.steps[i].node)) continue;
      above.push_back(node_json(*source.steps[i].node));
      if (!source.steps[i].record.empty()) above.back()["record"] = source.steps[i].record;
    }
    made["below"] = std::move(above);
    sources.push_back(std::move(made));
  }
  return {{"number", line.number}, {"text", line.text}, {"sources", std::move(sources)}};
}

} // namespace tovra::explain
