// `tovra import` and `tovra export`: put devices into a database of many, and write them back as data files.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "../commands.hpp"
#include "../data_file.hpp"
#include "../output.hpp"
#include "../output_file.hpp"
#include "../tools.hpp"
#include "redis/open.hpp"
#include "store/store.h"
#include "zuapi/zuapi.h"

namespace tovra {

namespace {

using nlohmann::ordered_json;

struct import_options {
  std::string source;
  std::string target;
  std::string device;
};

struct export_options {
  std::string source;
  bool yaml = false;
  std::optional<std::string> output;
};

int import(const import_options &asked) {
  if (zu_redis::is_place(asked.target) && asked.device.find('&') != asked.device.npos) {
    say("tovra: --device: a device's name has no '&'"); // another option would begin there
    return wrong_usage;
  }
  const auto texts = read_good_data(asked.source);
  if (!texts) return failed;
  const std::string &text = texts->front();
  const std::string target = device_in(asked.target, asked.device);
  zu_do_error *error = nullptr;
  if (zu_store_import(text.data(), text.size(), target.c_str(), &error)) return done;
  say(zu_do_error_get_msg(error));
  zu_do_error_deref(error);
  return failed;
}

// The name as YAML: in quotes where YAML would read a plain one as something else.
std::string yaml_name(const std::string &name) {
  const auto plain = [](char c) {
    return (c >= 'a' && c <= 'z') || std::string_view("/;=-_.0123456789").find(c) != std::string_view::npos;
  };
  const bool is_path =
      name.size() > 1 && name.starts_with('/') && std::all_of(name.begin(), name.end(), plain);
  return is_path ? name : ordered_json(name).dump();
}

// The data file as YAML: one line for each member and record, and for each of their properties. Values are
// written as JSON, which YAML includes.
std::string as_yaml(const std::string &json) {
  std::string text;
  const auto data = ordered_json::parse(json);
  for (const auto &[section, members] : data.items()) {
    text += section + ":" + (members.empty() ? " {}\n" : "\n");
    for (const auto &[name, properties] : members.items()) {
      text += "  " + yaml_name(name) + ":" + (properties.empty() ? " {}\n" : "\n");
      for (const auto &[property, value] : properties.items()) {
        text += "    " + ordered_json(property).dump() + ": " + value.dump() + "\n";
      }
    }
  }
  for (size_t at = 0; (at = text.find('\x7f', at)) != text.npos;) text.replace(at, 1, "\\u007f");
  return text;
}

int write(const export_options &asked, const std::string &text) {
  output_file file;
  const auto refuse = [&file] {
    say("tovra: --output " + file.why());
    return failed;
  };
  if (asked.output && !file.open(*asked.output)) return refuse();
  output to = asked.output ? output(file.number(), *asked.output) : output();
  if (!to.write(text) || !to.flush()) return failed;
  return !asked.output || file.put_in_place() ? done : refuse();
}

int export_data(const export_options &asked) {
  const auto texts = read_good_data(asked.source);
  if (!texts) return failed;
  return write(asked, asked.yaml ? as_yaml(texts->front()) : texts->front());
}

} // namespace

tool add_import(CLI::App &app) {
  command made(app, "import", "Put a device into a database of devices");
  made.footer(
      "Replaces the device that has this name in the database, whole or not at all. An SQLite file is\n"
      "created if it does not exist. `--data sqlite:FILE?device=NAME` reads the device. docs/data.md has an\n"
      "example.");
  static import_options asked;
  made.add("source", asked.source, "Data file, - for standard input, a device of a database, or yang:FILE")
      .type("SOURCE")
      .required()
      .not_empty();
  made.add("target", asked.target, "The database: sqlite:FILE or redis://HOST").type("TARGET").required();
  add_yang(made);
  made.add("--device", asked.device, "The name of the device in the database").type("NAME");
  return {made.get(), [] { return import(asked); }};
}

tool add_export(CLI::App &app) {
  command made(app, "export", "Write a device as a data file");
  static export_options asked;
  made.add("source", asked.source, "Data file, - for standard input, a device of a database, or yang:FILE")
      .type("SOURCE")
      .required()
      .not_empty();
  made.each(
          "--format", [](const std::string &format) { asked.yaml = format == "yaml"; },
          "json (default) or yaml")
      .type("FORMAT")
      .among({"json", "yaml"});
  add_yang(made);
  made.add("--output", asked.output, "Write to a file, whole or not at all").type("FILE");
  return {made.get(), [] { return export_data(asked); }};
}

} // namespace tovra
