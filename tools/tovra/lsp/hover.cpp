// What an editor shows about a place: meanings, what is in scope, and what a render with the data does there.
#include "hover.hpp"

#include <algorithm>
#include <filesystem>

#include "meanings.hpp"

namespace tovra::lsp {

namespace {

using kind = check::scope_entry::kind;

constexpr size_t most_shown = explained::most_lines; // of lines, and of records and properties too

// Collects Markdown.
class marked {
public:
  // Adds a paragraph.
  void say(const std::string &words) {
    if (!words.empty()) text_ += (text_.empty() ? "" : "\n\n") + words;
  }
  void item(const std::string &words) { text_ += (text_.empty() ? "- " : "\n- ") + words; }
  // Adds lines that are shown unchanged.
  void show(const std::string &lines) {
    std::string fence = "```";
    while (lines.find(fence) != lines.npos) fence += '`';
    say(fence + "\n" + lines + "\n" + fence);
  }
  const std::string &text() const { return text_; }

private:
  std::string text_;
};

std::string code(const std::string &text) {
  return text.find('`') == text.npos ? "`" + text + "`" : "`` " + text + " ``";
}

std::string place_of(const record &record) {
  return std::filesystem::path(record.file).filename().string() + ":" + std::to_string(record.number);
}

void say_keyword(marked &out, word keyword) {
  const keyword_meaning &about = meaning_of(keyword);
  out.say("**" + std::string(tvr::keyword_of(keyword).text) + "** " + about.what);
  out.item("Value: " + std::string(about.value));
  if (const std::string blank = tvr::keyword_of(keyword).when_blank; !blank.empty()) {
    out.item("Blanks alone stand for " + code(blank));
  }
  out.item("Read in: " + std::string(about.ops));
}

// How an entry in scope is described, with the node that brought it.
std::string words_of(const check::scope_entry &entry) {
  const check::line *uri = entry.by->find(word::uri);
  const std::string read = uri != nullptr ? check::trimmed(uri->value) : entry.uri;
  const std::string by = ", by " + code(entry.by->id) + " (" + place_of(*entry.by) + ")";
  switch (entry.what) {
  case kind::record:
    return "a record of " + code(uri != nullptr ? read : entry.path) + by;
  case kind::single:
    return "the record " + code(read) + by;
  case kind::location:
    return "its place, " + code(entry.uri);
  case kind::group:
    return "a group of " + code(read) + by;
  case kind::group_member:
    break;
  }
  return "a record of the group of " + code(read) + by;
}

void say_scope(marked &out, const workspace &in, const record &node) {
  const check::visit *shown = nullptr;
  size_t ways = 0;
  for (const check::visit &visit : in.ways().visits) {
    if (visit.at != &node) continue;
    if (++ways == 1) shown = &visit;
  }
  if (shown == nullptr) {
    if (in.ways().complete) out.say("No walk comes here from where a render begins.");
    return;
  }
  std::string words;
  for (const auto *stack : {shown->in.records, shown->in.groups}) {
    for (const check::frame *at = stack; at != nullptr; at = at->below) {
      words += "\n- " + words_of(at->entry);
    }
  }
  if (words.empty()) return out.say("No record is in scope.");
  out.say("In scope" + (ways > 1 ? ", on the first of " + std::to_string(ways) + " ways" : "") + ":" + words);
}

void say_render(marked &out, const explained &made) {
  if (!made.never.empty()) return out.say("With the data: " + made.never);
  if (made.lines > 0) {
    const bool all = made.lines <= most_shown;
    out.say("With the data" + (all ? ":" : ", the first of " + std::to_string(made.lines) + " lines:"));
    out.show(made.shown);
  }
  std::string words;
  size_t told = 0;
  for (const auto &[reason, other] : made.others) {
    if (++told > most_shown) break;
    words += "\n- " + other.told;
    if (other.times > 1) words += ", " + std::to_string(other.times) + " times";
    if (!other.record.empty()) words += (other.times > 1 ? ", first for " : ", for ") + code(other.record);
  }
  if (!words.empty()) out.say((made.lines > 0 ? "And else:" : "With the data:") + words);
  if (made.lines == 0 && words.empty() && !made.failure.empty()) {
    out.say("The data is not rendered: " + made.failure);
  }
}

void say_node(marked &out, workspace &in, const record &node) {
  out.say("**" + node.id + "** " + code(node.op) + ", " + place_of(node));
  if (const auto rendered = in.render_of(node.id)) say_render(out, *rendered);
  say_scope(out, in, node);
}

void say_id(marked &out, workspace &in, const std::string &id) {
  const record *node = in.set().by_id(id);
  if (node != nullptr) say_node(out, in, *node);
}

const check::path_data *data_of(const workspace &in, const std::string &uri, std::string &path) {
  const handle<zu_tvr_uri, zu_tvr_uri_delete> made(zu_tvr_uri_new(uri.c_str()));
  const auto pattern = made ? check::pattern_of(*made) : std::nullopt;
  if (!pattern || in.data() == nullptr) return nullptr;
  path = check::path_of(*pattern);
  const auto found = in.data()->paths.find(path);
  return found != in.data()->paths.end() ? &found->second : nullptr;
}

std::string listed(const std::set<std::string> &names) {
  std::string text;
  size_t count = 0;
  for (const std::string &name : names) {
    if (++count > most_shown * 4) return text + ", ...";
    text += (text.empty() ? "" : ", ") + code(name);
  }
  return text;
}

void say_uri(marked &out, const workspace &in, const token &at) {
  std::string path;
  if (const check::path_data *data = data_of(in, at.text, path)) {
    out.say("**" + path + "** " + std::to_string(data->records) +
            (data->records == 1 ? " record" : " records") + " in the data" +
            (data->first_record.empty() ? "" : ", the first " + code(data->first_record)));
    if (!data->properties.empty()) out.item("Properties: " + listed(data->names()));
  } else if (!path.empty()) {
    out.say("**" + path + "** is not in the data");
  }
  if (at.in == nullptr) return;
  if (at.keyword != word::uri) {
    for (const record *reader : readers_of(in, *at.in, at.text)) {
      out.item("Read by " + code(reader->id) + " (" + place_of(*reader) + ")");
    }
  }
}

void say_property(marked &out, const workspace &in, const token &at) {
  std::string uri = check::first_word(at.value);
  if (at.keyword == word::orderby) {
    const check::line *line = at.in != nullptr ? at.in->find(word::uri) : nullptr;
    uri = line != nullptr ? check::trimmed(line->value) : "";
  }
  std::string path;
  const check::path_data *data = data_of(in, uri, path);
  if (path.empty()) return;
  const bool known = data != nullptr && data->properties.contains(at.text);
  out.say("**" + at.text + "** of " + code(path) + (known ? "" : ", which the data does not have"));
}

} // namespace

json hover_at(workspace &in, const std::string &path, size_t offset) {
  const token at = token_at(in, path, offset);
  marked out;
  switch (at.kind) {
  case token_kind::keyword:
    say_keyword(out, at.keyword);
    break;
  case token_kind::op:
    if (const char *meaning = meaning_of_op(at.text)) out.say("**" + at.text + "** " + meaning);
    break;
  case token_kind::id:
    say_id(out, in, at.text);
    break;
  case token_kind::uri:
    say_uri(out, in, at);
    break;
  case token_kind::property:
    say_property(out, in, at);
    break;
  case token_kind::other:
    break;
  }
  const bool of_node = at.in != nullptr && !at.in->id.empty() && at.keyword != word::none;
  if (of_node &&
      (at.kind == token_kind::other || at.kind == token_kind::uri || at.kind == token_kind::property)) {
    say_node(out, in, *at.in);
  }
  if (out.text().empty()) return nullptr;
  return {{"contents", {{"kind", "markdown"}, {"value", out.text()}}},
          {"range", as_json(in.files().text_of(path)->range_of(at.where))}};
}

} // namespace tovra::lsp
