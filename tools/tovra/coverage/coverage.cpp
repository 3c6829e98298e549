// `tovra coverage`: the parts of the templates and of the data that renders leave out.
#include <memory>

#include "../data_file.hpp"
#include "../output.hpp"
#include "../parallel.hpp"
#include "../process.hpp"
#include "../tools.hpp"
#include "gather.hpp"

namespace tovra {

namespace {

struct coverage_options {
  options render;
  std::vector<std::string> data;
  coverage::form form = coverage::form::text;
  coverage::limits limits;
};

// The file that is rendered: the data file, or the configuration that was asked for.
std::string rendered_file(const options &asked) {
  std::string found = asked.data;
  for (const auto &[name, file] : asked.named) {
    if (asked.config == name) found = file; // of several with one name, the last one counts
  }
  return found;
}

int cover_one(const options &asked, coverage::report &into) {
  request made(asked);
  if (const int status = made.load(); status != done) return status;
  return made.attempt(nullptr, [&] {
    into = {};
    return coverage::gather(made, data_name(rendered_file(asked)), into) ? done : failed;
  });
}

process_outcome cover_apart(options asked, const std::string &data) {
  asked.data = data;
  process_request made;
  made.arguments = render_arguments(asked);
  made.arguments.insert(made.arguments.begin(), "coverage");
  made.arguments.emplace_back("--format=json");
  made.own_input = true; // standard input may be named as the data file
  return run_self(made);
}

// Renders each data file in a process of its own, so that one render cannot affect another.
int cover_all(const coverage_options &asked, coverage::report &into) {
  std::vector<process_outcome> outcomes(asked.data.size());
  in_parallel(outcomes.size(), processors(),
              [&](size_t at) { outcomes[at] = cover_apart(asked.render, asked.data[at]); });
  int status = done;
  for (size_t at = 0; at < outcomes.size(); ++at) {
    const process_outcome &outcome = outcomes[at];
    say_lines(outcome.error);
    if (outcome.status != done) status = outcome.status == wrong_usage ? wrong_usage : failed;
    const bool ended = outcome.started && outcome.status <= wrong_usage;
    if (!ended)
      say("tovra: " + data_name(asked.data[at]) + " is not covered: its render did not come to an end");
    if (!ended) status = failed;
    if (ended && !outcome.output.empty()) into.add(coverage::from_json(outcome.output));
  }
  return status;
}

int run_coverage(coverage_options &asked) {
  coverage::report told;
  asked.render.data = asked.data.front();
  const int status = asked.data.size() == 1 ? cover_one(asked.render, told) : cover_all(asked, told);
  if (told.templates.empty()) return status != done ? status : failed;
  output out;
  if (!out.write(coverage::as_text(told, asked.form)) || !out.flush()) return failed;
  return coverage::is_enough(told, asked.limits) ? status : failed;
}

} // namespace

tool add_coverage(CLI::App &app) {
  const auto asked = std::make_shared<coverage_options>();
  command made(app, "coverage", "Show which nodes and which data do not appear in the text");
  made.footer(
      "Renders each data file as `tovra render` does with the same options, and shows which nodes were\n"
      "never walked or wrote no line, and which records and properties no line shows. The exit status\n"
      "is 1 when a render failed, or when less is covered than asked for.");
  add_render_options(made, asked->render, &asked->data);
  made.each(
          "--format", [asked](const std::string &name) { asked->form = coverage::forms().at(name); },
          "text (default), json, or lcov, for viewers of code coverage, with templates as sources")
      .type("FORMAT")
      .among({"text", "json", "lcov"});
  coverage::add_limits(made, asked->limits);
  return {made.get(), [asked] { return run_coverage(*asked); }};
}

} // namespace tovra
