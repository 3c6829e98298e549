// The protocol, as the language server speaks it: requests and notifications in their order, from the first
// message to the exit.
#pragma once

#include "session.hpp"

namespace tovra::lsp {

class server {
public:
  server(const settings &given, sender send, explainer explain)
      : send_(send), session_(given, std::move(send), std::move(explain)) {}

  // Answers a message. note_waiting() is called earlier, when a message has just come: it may cancel one that
  // is still waiting.
  void take(const std::string &message);
  void note_waiting(const std::string &message);
  void refuse(const char *why); // answers a message that could not be read
  // Called when no message is waiting: then findings are sent that the client does not have yet. While
  // someone types, messages wait, and a check in between would be out of date at once.
  void rest();
  // A request may need a render, which takes seconds. It is set aside so that others are answered meanwhile,
  // and resume() asks again when the render has ended.
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
  int status_ = failed; // the exit status of an end without a shutdown request
  std::set<json> canceled_;
  std::vector<request> deferred_;
};

} // namespace tovra::lsp
