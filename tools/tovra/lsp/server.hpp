// The language server's side of the protocol: requests and notifications in their order, from the first
// message to the exit.
#pragma once

#include "session.hpp"

namespace tovra::lsp {

class server {
public:
  server(const settings &given, sender send, explainer explain)
      : send_(send), session_(given, std::move(send), std::move(explain)) {}

  // A message as the stream has it. Those that still wait are looked at before, for what they cancel.
  void take(const std::string &message);
  void note_waiting(const std::string &message);
  void refuse(const char *why); // a message that was not even read
  // Nothing waits: what has been found since the last time is told.
  void rest();
  // Requests that wait for a render do not hold up others: they are answered once it has ended.
  bool has_deferred() const { return !deferred_.empty(); }
  std::vector<const running_process *> running() const { return session_.running(); }
  void resume();

  bool ended() const { return state_ == state::ended; }
  int exit_status() const { return status_; }

private:
  enum class state { fresh, running, shut_down, ended };

  struct request {
    json id;
    std::string method;
    json params;
  };

  void take_request(const json &id, const std::string &method, const json &params);
  void drop_deferred(int code, const std::string &why);
  json answer(const std::string &method, const json &params);
  void take_notification(const std::string &method, const json &params);
  void send_error(const json &id, int code, const std::string &message);

  const sender send_;
  session session_;
  state state_ = state::fresh;
  int status_ = failed; // of an end without a shutdown
  std::set<json> canceled_;
  std::vector<request> deferred_;
};

} // namespace tovra::lsp
