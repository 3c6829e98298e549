// The protocol, as the language server speaks it.
#include "server.hpp"

#include <utility>

#include "zu_tovra/version.h"

namespace tovra::lsp {

namespace {

bool is_id(const json &id) {
  return id.is_string() || id.is_number_integer();
}

json capabilities() {
  return {
      {"positionEncoding", "utf-16"},
      {"textDocumentSync", {{"openClose", true}, {"change", 2}, {"save", true}}}, // 2: changes come as ranges
      {"completionProvider", {{"triggerCharacters", {" ", "$", "("}}}},
      {"hoverProvider", true},
      {"definitionProvider", true},
      {"referencesProvider", true},
      {"renameProvider", {{"prepareProvider", true}}},
      {"documentSymbolProvider", true},
      {"workspaceSymbolProvider", true},
      {"documentFormattingProvider", true},
  };
}

} // namespace

void server::send_error(const json &id, int code, const std::string &message) {
  send_({{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", message}}}});
}

void server::refuse(const char *why) {
  send_error(nullptr, invalid_request, why);
}

void server::rest() {
  if (state_ == state::running) session_.publish();
}

void server::note_waiting(const std::string &message) {
  if (message.find("cancelRequest") == message.npos) return;
  const json parsed = json::parse(message, nullptr, false);
  if (!parsed.is_object() || parsed.value("method", json()) != "$/cancelRequest") return;
  const json params = parsed.value("params", json());
  const json id = params.is_object() ? params.value("id", json()) : json();
  if (is_id(id)) canceled_.insert(id);
}

void server::take(const std::string &message) {
  const json parsed = json::parse(message, nullptr, false);
  if (parsed.is_discarded()) return send_error(nullptr, parse_error, "the message is no JSON");
  if (!parsed.is_object()) return refuse("the message is no object");
  const json id = parsed.value("id", json()), method = parsed.value("method", json());
  const bool is_answer =
      !parsed.contains("method") && (parsed.contains("result") || parsed.contains("error"));
  if (is_answer) return; // the server asks clients nothing, so it needs no answers
  if (!method.is_string() || (parsed.contains("id") && !is_id(id))) {
    return send_error(is_id(id) ? id : json(), invalid_request, "the message is no request");
  }
  const json params = parsed.value("params", json::object());
  if (parsed.contains("id")) return take_request(id, method, params);
  take_notification(method, params);
}

json server::answer(const std::string &method, const json &params) {
  if (state_ == state::shut_down) throw refusal(invalid_request, "the server is shut down");
  if (method == "initialize") {
    if (state_ != state::fresh) throw refusal(invalid_request, "the server is initialized");
    session_.begin(params);
    state_ = state::running;
    return {{"capabilities", capabilities()},
            {"serverInfo", {{"name", "tovra"}, {"version", zu_tvr_version()}}}};
  }
  if (state_ == state::fresh) throw refusal(not_initialized, "the first request is initialize");
  if (method == "shutdown") {
    drop_deferred(request_canceled, "the server is shut down");
    state_ = state::shut_down;
    return nullptr;
  }
  return session_.answer(method, params);
}

void server::take_request(const json &id, const std::string &method, const json &params) {
  if (canceled_.contains(id)) return send_error(id, request_canceled, "canceled");
  try {
    send_({{"jsonrpc", "2.0"}, {"id", id}, {"result", answer(method, params)}});
  } catch (const unfinished &) {
    deferred_.push_back({id, method, params});
  } catch (const refusal &wrong) {
    send_error(id, wrong.code, wrong.what());
  } catch (const json::exception &wrong) {
    send_error(id, invalid_params, wrong.what());
  }
}

void server::resume() {
  for (const request &each : std::exchange(deferred_, {})) take_request(each.id, each.method, each.params);
}

void server::drop_deferred(int code, const std::string &why) {
  session_.end_renders();
  for (const request &each : std::exchange(deferred_, {})) send_error(each.id, code, why);
}

void server::take_notification(const std::string &method, const json &params) {
  if (method == "exit") {
    status_ = state_ == state::shut_down ? done : failed;
    state_ = state::ended;
  } else if (method == "$/cancelRequest") {
    const json id = params.is_object() ? params.value("id", json()) : json();
    canceled_.erase(id); // the request came before this message, so the id may be used again
    const auto of_it = [&id](const request &each) { return each.id == id; };
    if (std::erase_if(deferred_, of_it) == 0) return;
    session_.end_renders(); // other requests that wait begin their renders again
    send_error(id, request_canceled, "canceled");
  } else if (state_ == state::running) {
    if (method.find("/did") != method.npos) drop_deferred(content_modified, "the templates have changed");
    session_.take(method, params);
  }
}

} // namespace tovra::lsp
