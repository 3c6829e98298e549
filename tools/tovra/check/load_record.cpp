// Loading a record: the library's own loader reads it, with the lines that it takes over from the record
// before it in front, and says in its trace which line it refused.
#include "load_record.hpp"

#include <charconv>
#include <glib.h>
#include <optional>

#include "trace_watch.hpp"
#include "uri_text.hpp"

namespace tovra::check {

namespace {

struct refusal {
  std::string message;
  std::string cause;       // traced before it, or empty
  std::optional<int> line; // of the text that was loaded; none: the record as a whole
};

std::string replaced(std::string text, std::string_view what, const std::string &with) {
  const size_t at = text.find(what);
  return at == text.npos ? text : text.replace(at, what.size(), with);
}

// "Op:" and "Dest:" set what is carried over and count no slots, as when the record before set it.
std::string text_to_load(const record &record) {
  std::string text;
  if (!record.carried_op.empty()) text += "Op:" + record.carried_op + "\n";
  if (!record.carried_format.empty()) text += "Dest:" + record.carried_format + "\n";
  for (const std::string &line : record.text) text += line + "\n";
  return text;
}

int carried_lines(const record &record) {
  return (record.carried_op.empty() ? 0 : 1) + (record.carried_format.empty() ? 0 : 1);
}

// Conditions are never refused; what their lines trace is no cause of anything else.
bool is_about_condition(std::string_view traced) {
  return traced == "Unable to find name/value pairs" || traced == "Failed to parse evals in Cond expr" ||
         traced == "Failed to parse condition" || traced == "Failed to construct command operation" ||
         traced.starts_with("Error ");
}

refusal explain(const std::vector<std::string> &errors, const std::string &given) {
  constexpr std::string_view place = "Loading terminated at (null):";
  refusal made{given, "", std::nullopt};
  for (const std::string &traced : errors) {
    if (traced.starts_with(place)) {
      int number = 0;
      std::from_chars(traced.data() + place.size(), traced.data() + traced.size(), number);
      made.line = number;
    } else if (made.message.empty()) {
      made.message = traced;
    } else if (traced != made.message && !is_about_condition(traced)) {
      made.cause = traced;
    }
  }
  return made;
}

std::optional<refusal> refused(zu_tvr_tree *tree, const std::string &text) {
  const trace_watch watch;
  zu_do_error *error = nullptr;
  const bool loaded = zu_tvr_load_meta_from_str(tree, text.c_str(), &error);
  const std::string message = error != nullptr ? zu_do_error_get_msg(error) : "";
  zu_do_error_deref(error);
  if (loaded) return std::nullopt;
  return explain(watch.errors, message);
}

// What is wrong with the URI that stands in a refused line, as far as it is the URI.
std::string about_uri(const record &record, int number) {
  for (const line &line : record.lines) {
    if (line.number != number) continue;
    const bool has_uri =
        line.keyword == word::uri || line.keyword == word::props || line.keyword == word::location;
    return has_uri ? why_refused(line.keyword == word::uri ? trimmed(line.value) : first_word(line.value))
                   : "";
  }
  return "";
}

std::string told(const record &record, const refusal &refusal, int number, const check::record *namesake) {
  std::string message = replaced(refusal.message, "in file (null)", "in file " + record.file);
  const std::string reason = about_uri(record, number);
  if (!reason.empty()) return message + ": " + reason;
  if (namesake != nullptr && !refusal.line) {
    message += ": " + namesake->file + ":" + std::to_string(namesake->number) + " has that id";
  }
  return refusal.cause.empty() ? message : message + " (" + refusal.cause + ")";
}

int line_of_completion(const record &record, const std::string &message) {
  return record.number_of(message.starts_with("Invalid Op") ? word::op : word::cmd);
}

} // namespace

void load_record(zu_tvr_tree *tree, record &record, const check::record *namesake, findings &found) {
  const bool known_before = g_hash_table_contains(tree->nodes, record.id.c_str());
  check::record left = record; // without the lines that were refused
  while (const auto no = refused(tree, text_to_load(left))) {
    if (!no->line) {
      // A field that is missing because its line was refused has been told.
      if (record.sound || !no->message.starts_with("Missing ")) {
        const int number = line_of_completion(record, no->message);
        found.add({record.file, number, severity::error, "refused", told(record, *no, number, namesake)});
      }
      record.sound = false;
      return;
    }
    const int index = *no->line - 1 - carried_lines(record);
    const int number = record.first_number + index;
    found.add({record.file, number, severity::error, "refused", told(record, *no, number, namesake)});
    record.sound = false;
    if (index < 0 || static_cast<size_t>(index) >= left.text.size() || left.text[index].empty()) return;
    left.text[index].clear();
  }
  // A second "config" or "interface" is taken and dropped.
  if (!known_before && !record.id.empty()) {
    record.node = static_cast<zu_tvr_node *>(g_hash_table_lookup(tree->nodes, record.id.c_str()));
  }
}

} // namespace tovra::check
