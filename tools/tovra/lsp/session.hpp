// What a client has opened and set, and the answers to what it asks.
#pragma once

#include <functional>
#include <set>

#include "../commands.hpp"
#include "params.hpp"
#include "workspace.hpp"

namespace tovra::lsp {

using sender = std::function<void(const json &message)>;

enum message_weight { weight_error = 1, weight_warning = 2 };

// What is checked. Paths that are not absolute begin at the client's root.
struct settings {
  std::optional<std::string> templates; // directories, separated by ':'
  std::string data;
  std::vector<std::string> classes = {}; // files
};

class session {
public:
  session(settings given, sender send, explainer explain)
      : given_(std::move(given)), send_(std::move(send)), explain_(std::move(explain)) {}

  void begin(const json &params); // of the client's "initialize"
  json answer(const std::string &method, const json &params);
  void take(const std::string &method, const json &params); // a notification
  // Checks what has changed, and tells the findings that the client does not have.
  void publish();
  // The renders that requests wait for, and their end when none does any more.
  std::vector<const running_process *> running() const;
  void end_renders();

private:
  // What the client has of a file.
  struct published {
    std::vector<json> diagnostics;
    std::optional<int64_t> version;
    bool operator==(const published &) const = default;
  };
  struct group {
    std::unique_ptr<workspace> of;
    std::map<std::string, published> findings; // as of its last check, by path
    std::set<std::string> remarks;             // on no file
  };
  struct place {
    workspace &in;
    std::string path;
    size_t offset;
  };

  void notify(const char *method, json params);
  void show(int weight, const std::string &message);

  void open(const json &params);
  void change(const json &params);
  void close(const json &params);

  void take_settings(const json &given);
  void set_up();
  std::string absolute(const std::string &path) const;
  group &group_of(const std::string &path);
  workspace &workspace_of(const std::string &path);
  void collect(group &into);

  place place_in(const json &params);
  json definition(const json &params);
  json references(const json &params);
  json completions(const json &params);
  json hover(const json &params);
  json id_range(const json &params);
  json rename(const json &params);
  json outline(const json &params);
  json nodes(const json &params);
  json formatted(const json &params);

  const settings given_; // on the command line
  const sender send_;
  const explainer explain_;
  std::string root_;
  settings asked_; // by the client, which goes before
  files files_;
  std::string configured_;              // the directories that are set, or empty
  std::map<std::string, group> groups_; // by their directories
  std::map<std::string, published> published_;
  std::set<std::string> shown_;
};

} // namespace tovra::lsp
