// `tovra diff`: compares the text of two configurations, or of one configuration with two sets of templates.
#include <filesystem>
#include <future>
#include <memory>
#include <unistd.h>

#include "../command_line.hpp"
#include "../commands.hpp"
#include "../data_file.hpp"
#include "../output.hpp"
#include "../process.hpp"
#include "../tools.hpp"
#include "text_diff.hpp"

namespace tovra {

namespace {

constexpr int equal = 0;
constexpr int different = 1;
constexpr int trouble = 2;

struct diff_options {
  std::string old_name, new_name;
  std::string data; // if given, the two names are templates
  std::string templates;
  std::string node;
  std::vector<std::string> render; // further options of the render
  bool unified = false;
  bool json = false;
};

process_request render_request(const diff_options &asked, const std::string &name) {
  process_request made;
  made.arguments = {"render"};
  if (!asked.node.empty()) made.arguments.push_back(asked.node);
  const std::string &templates = asked.data.empty() ? asked.templates : name;
  if (!templates.empty()) made.arguments.push_back("--templates=" + templates);
  made.arguments.push_back("--data=" + (asked.data.empty() ? name : asked.data));
  for (auto &each : yang_arguments()) made.arguments.push_back(std::move(each));
  made.arguments.insert(made.arguments.end(), asked.render.begin(), asked.render.end());
  return made;
}

// Passes on the messages of a render. False when its text is not complete: a part of a text must not be
// compared, as its gaps would look like changes.
bool is_whole(const std::string &name, const process_outcome &rendered, const std::string &said_before) {
  const bool whole = rendered.started && rendered.status == done;
  if (!whole || rendered.error != said_before) say_lines(rendered.error);
  if (!whole) say("tovra: " + data_name(name) + " is not rendered");
  return whole;
}

int run_diff(const diff_options &asked) {
  std::error_code failure;
  if (asked.data.empty() && std::filesystem::is_directory(asked.new_name, failure)) {
    say("tovra: " + asked.new_name + " is a directory: templates are compared over the data file of --data");
    return trouble;
  }
  auto old_render =
      std::async(std::launch::async, [&] { return run_self(render_request(asked, asked.old_name)); });
  const process_outcome new_side = run_self(render_request(asked, asked.new_name));
  const process_outcome old_side = old_render.get();
  const bool old_whole = is_whole(asked.old_name, old_side, "");
  const bool new_whole = is_whole(asked.new_name, new_side, old_side.error);
  if (!old_whole || !new_whole) return trouble;

  const diff::style style{is_colored(STDOUT_FILENO)};
  std::string told;
  if (asked.unified) {
    told = diff::unified(old_side.output, new_side.output, asked.old_name, asked.new_name, style);
  } else {
    const auto changes = diff::sections_changed(old_side.output, new_side.output);
    told = asked.json ? diff::as_json(changes) : diff::by_section(changes, style);
  }
  output out;
  if (!out.write(told) || !out.flush()) return trouble;
  return old_side.output == new_side.output ? equal : different;
}

} // namespace

tool add_diff(CLI::App &app) {
  const auto asked = std::make_shared<diff_options>();
  command made(app, "diff", "Show how two configurations differ, section by section");
  made.footer(
      "OLD and NEW are data files, or with --data two sets of template directories. Each change stands\n"
      "below the lines that it belongs to. The exit status is 0 when both texts are equal, 1 when\n"
      "they differ, 2 when one of them cannot be rendered.");
  made.add("old", asked->old_name, "What was").type("OLD").required();
  made.add("new", asked->new_name, "What is").type("NEW").required();
  made.add("node", asked->node, "Compare the part under this node (default: everything)").type("NODE");
  const option templates =
      made.add("--templates", asked->templates,
               "Template directories, separated by ':' (default: ZU_TVR_DIR, or what the library finds)")
          .type("DIR[:DIR...]");
  made.add("--data", asked->data, "Render this data file through the templates OLD and NEW")
      .type("FILE")
      .excludes(templates);
  const auto pass = [&made, asked](const char *name, const char *help) {
    const auto take = [asked, name](const std::string &text) {
      asked->render.push_back(std::string(name) + "=" + text);
    };
    return made.each(name, take, help);
  };
  add_yang(made);
  pass("--classes", "A file of classes that count beside those of the data; may be repeated").type("FILE");
  pass("--arg", "A walk argument, as a text").type("NAME=TEXT");
  pass("--arg-json", "A walk argument, as a JSON value").type("NAME=TEXT");
  const auto pass_flag = [&made, asked](const char *name, const char *help) {
    made.flag(
        name, [asked, name] { asked->render.emplace_back(name); }, help);
  };
  pass_flag("--defaults", "Render default values too");
  pass_flag("--show-tech", "Leave passwords out");
  const option unified = made.flag("--unified", asked->unified, "In the form that patch reads");
  add_format(made, asked->json, "text (default), or json, an array with an object a change")
      .excludes(unified);
  return {made.get(), [asked] { return run_diff(*asked); }};
}

} // namespace tovra
