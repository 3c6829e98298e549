// `tovra explain`: which node wrote a line and from which values, or what happened at a node.
#include <limits>
#include <memory>

#include "../command_line.hpp"
#include "../output.hpp"
#include "../tools.hpp"
#include "../value_json.hpp"
#include "lines.hpp"
#include "visits.hpp"

namespace tovra {

namespace {

struct explain_options {
  options render;
  uint64_t line = 0;
  std::string match;
  std::string id;
  std::string record;
  bool all = false;
  bool json = false;
};

int explain_lines(const explain_options &asked, request &made, output &out) {
  uint64_t told = 0;
  const auto is_wanted = [&](uint64_t number) { return asked.line == 0 || number == asked.line; };
  const auto take = [&](const explain::explained_line &line) {
    if (!asked.match.empty() && line.text.find(asked.match) == line.text.npos) return;
    ++told;
    out.write(asked.json ? json_text(explain::as_json(line)) : visible_lines(explain::as_text(line)));
  };
  explain::line_watch watch(is_wanted, take);
  const bool rendered = watch.follow(made);
  watch.end();
  if (!out.flush()) return failed;
  if (told == 0 && asked.line != 0) say("tovra: the text has " + std::to_string(watch.lines()) + " lines");
  if (told == 0 && !asked.match.empty()) say("tovra: no line has '" + asked.match + "' in it");
  return rendered && (told != 0 || asked.all) ? done : failed;
}

int explain_node(const explain_options &asked, request &made, output &out) {
  const zu_tvr_node *node = find_node(made.tree(), asked.id);
  if (node == nullptr) {
    say("tovra: " + unknown_node(made.tree(), asked.id));
    return failed;
  }
  std::string record;
  if (!asked.record.empty()) { // several spellings name one record: take the usual one
    const uri_handle uri(zu_do_uri_new(asked.record.c_str()));
    if (!uri) {
      say("tovra: --record " + asked.record + ": not the URI of a record");
      return failed;
    }
    record = zu_do_uri_get_uri_str(uri.get());
  }
  bool told = false;
  const std::string heading = place_of(*node) + "\n";
  const auto take = [&](const explain::visit &visit) {
    if (asked.json) {
      out.write(json_text(explain::as_json(visit)));
    } else {
      out.write(visible_lines((told ? "" : heading) + explain::as_text(visit)));
    }
    told = true;
  };
  explain::visit_watch watch(asked.id, record, take);
  const bool rendered = watch.follow(made);
  if (!told) {
    const follow::census all = watch.counted();
    if (!record.empty() && all.empty()) {
      say("tovra: no node read the record " + record);
      return failed;
    }
    const std::string why = all.contains(asked.id)
                                ? "it read that record, for the nodes below it"
                                : (record.empty() ? "never walked: " : "not walked for " + record + ": ") +
                                      follow::never_walked(made.tree(), all).why(node);
    out.write(asked.json ? json_text({{"never", why}}) : visible_lines(heading + "  " + why + "\n"));
  }
  return out.flush() && rendered ? done : failed;
}

int run_explain(const explain_options &asked) {
  request made(asked.render);
  if (const int status = made.load(); status != done) return status;
  output out;
  return made.attempt(&out, [&] {
    return asked.id.empty() ? explain_lines(asked, made, out) : explain_node(asked, made, out);
  });
}

} // namespace

tool add_explain(CLI::App &app) {
  const auto asked = std::make_shared<explain_options>();
  command made(app, "explain", "Show which node wrote a line, or what became of a node");
  made.footer(
      "Renders as `tovra render` does with the same options. For a line: the template that wrote it, the\n"
      "properties and records that it was made of, the condition, the nodes above. For a node: for each\n"
      "record in scope the line, or why there is none.");
  add_render_options(made, asked->render);
  command which = made.group("which", "What is explained (one of these)");
  which.add("--line", asked->line, "The line of that number")
      .type("N")
      .between(uint64_t{1}, std::numeric_limits<uint64_t>::max());
  which.add("--match", asked->match, "Each line that has this text in it").type("TEXT");
  which.flag("--all", asked->all, "Every line");
  const option node = which.add("--node", asked->id, "The node of that id").type("ID");
  made.add("--record", asked->record, "The node where this record is in scope").type("URI").needs(node);
  add_format(made, asked->json, "text (default), or json, an object a line");
  return {made.get(), [asked] { return run_explain(*asked); }};
}

} // namespace tovra
