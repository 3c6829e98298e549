// Requests made by the entry's own functions, with what a host can set.
#pragma once

#include <string>
#include <vector>

#include "../../interface/host.hpp"

namespace host {

// One CLI context, and what its requests gave.
class session {
public:
  explicit session(zu_data_ifc *data) : cli(zu_cli_context_new(data, take_error, this)) {
    request_.self = this;
    request_.context.output_fn = take_text;
  }
  ~session() {
    zu_do_properties_deref(arguments);
    zu_cli_context_free(cli);
  }
  session(const session &) = delete;
  session &operator=(const session &) = delete;

  bool render(const char *node = nullptr, const char *config = nullptr, int32_t when = 1) {
    request_.context.cleanup_ctx = nullptr;
    request_.context.cleanup_fn = nullptr;
    const bool rendered =
        render_tovra_config_func(cli, &request_.context, when, node, config, arguments, arguments);
    if (request_.context.cleanup_fn != nullptr) request_.context.cleanup_fn(&request_.context);
    return rendered;
  }

  zu_cli_context *cli;
  zu_do_properties *arguments = zu_do_properties_new(); // of the walk
  std::string text;
  std::vector<std::string> errors; // "CODE MESSAGE"

private:
  struct request {
    zu_tovra_context context = {};
    session *self = nullptr;
  } request_;

  static bool take_text(zu_tovra_context *context, zu_cli_context *, const char *text) {
    session *self = reinterpret_cast<request *>(context)->self;
    self->text += text;
    return true;
  }
  static void take_error(void *self, int32_t code, const char *message) {
    static_cast<session *>(self)->errors.push_back(std::to_string(code) + " " + message);
  }
};

} // namespace host
