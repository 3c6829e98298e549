// The documents and settings of a client, and the answers to its requests.
#pragma once

#include <functional>
#include <set>

#include "../commands.hpp"
#include "params.hpp"
#include "workspace.hpp"

namespace tovra::lsp {

using sender = std::function<void(const json &message)>;

enum message_weight { weight_error = 1, weight_warning = 2 };

// The templates and data that are checked. Relative paths start at the client's root.
struct settings {
  std::optional<std::string> templates; // directories, separated by ':'
  std::string data;
  std::vector<std::string> classes = {}; // files
};

// All that is known of one client. Its files belong to groups: the configured directories are a group, and so
// is the folder of any other open file, since a template can only be checked together with its whole tree.
class session {
public:
  session(settings given, sender send, explainer explain)
      : given_(std::move(given)), send_(std::move(send)), explain_(std::move(explain)) {}

  void begin(const json &params); // parameters of the client's "initialize"
  json answer(const std::string &method, const json &params);
  void take(const std::string &method, const json &params); // takes a notification
  // Checks what has changed, and sends the findings that the client does not have.
  void publish();
  // The renders for which requests wait. They are ended when no request waits any more.
  std::vector<const running_process *> running() const;
  void end_renders();

private:
  // What the client was told about a file.
  struct published {
    std::vector<json> diagnostics;
    std::optional<int64_t> version;
    bool operator==(const published &) const = default;
  };
  struct group {
    std::unique_ptr<workspace> of;
    std::map<std::string, published> findings; // by path, as of the last check
    std::set<std::string> remarks;             // about no file of the group
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

  const settings given_; // from the command line
  const sender send_;
  const explainer explain_;
  std::string root_;
  settings asked_; // from the client: they are used before the others
  files files_;
  std::string configured_;              // the configured directories, or empty
  std::map<std::string, group> groups_; // by their directories
  std::map<std::string, published> published_;
  std::set<std::string> shown_;
};

} // namespace tovra::lsp
