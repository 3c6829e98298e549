// One device and one way to render it, and what can fail on the way.
#include "device.hpp"

#include <cstdlib>
#include <dlfcn.h>

#include "qmalloc/qmalloc.h"

namespace fault {

namespace {

// Conditions that are resolved, and the one that fails.
uint64_t conditions = 0;
uint64_t failing_condition = never;

data_handle load(const std::string &path) {
  zu_do_error *error = nullptr;
  data_handle data(zu_store_load_file(path.c_str(), &error));
  zu_do_error_deref(error);
  return data;
}

std::pair<std::string, std::string> split(const std::string &pair) {
  const auto at = pair.find('=');
  return {pair.substr(0, at), at == std::string::npos ? "" : pair.substr(at + 1)};
}

kind condition_kind() {
  return {.name = "condition",
          .means = meaning::error,
          .arm =
              [](uint64_t n) {
                conditions = 0;
                failing_condition = n;
              },
          .disarm =
              [] {
                const bool failed = conditions > failing_condition;
                failing_condition = never;
                return failed ? 1u : 0u;
              },
          .seen = [] { return conditions; }};
}

} // namespace

device::device(const asked &run) : run_(run) {
  default_data_ = load(run.first("--data"));
  if (!default_data_ || run.has("--named")) return;
  wrapper_ = zu_store_wrapper_new(default_data_.get());
  zu_store_wrapper_watch(wrapper_, watch, this);
  cli_ = zu_cli_context_new(zu_store_wrapper_ifc(wrapper_), take_error, this);
  cli_->render_defaults = run.has("--defaults");
  cli_->tag_submodes = run.has("--tag-submodes");
  usable_ = set_arguments();
  setenv("ZU_TVR_DIR", run.first("--templates").c_str(), 1);
  setenv("ZU_TVR_COLL_FETCH_COUNT", run.first("--fetch-count").c_str(), 1);
}

device::~device() {
  zu_cli_context_free(cli_);
  zu_store_wrapper_free(wrapper_);
  zu_do_properties_deref(arguments_);
}

bool device::set_arguments() {
  arguments_ = zu_do_properties_new();
  for (const std::string &argument : run_.all("--arg")) {
    const auto [name, text] = split(argument);
    zu_do_properties_set_string(arguments_, name.c_str(), text.c_str());
  }
  for (const std::string &argument : run_.all("--arg-json")) {
    const auto [name, text] = split(argument);
    zu_do_error *error = nullptr;
    zu_do_value *value = zu_do_value_from_json(text.data(), text.size(), &error);
    zu_do_error_deref(error);
    if (value == nullptr) return false;
    zu_do_properties_set_value(arguments_, name.c_str(), value);
    zu_do_value_deref(value);
  }
  if (run_.has("--show-tech")) zu_do_properties_set_int(arguments_, "_in_show_tech", 1);
  return true;
}

void device::render(outcome &got) {
  constexpr int32_t whole = 2;
  constexpr int32_t one_node = 1;
  now_ = &got;
  pieces_ = 0;
  request_ = {};
  request_.self = this;
  request_.context.output_fn = take_text;
  got.done = render_tovra_config_func(
      cli_, &request_.context, run_.node.empty() ? whole : one_node, run_.node.c_str(),
      run_.has("--config") ? run_.first("--config").c_str() : nullptr, arguments_, arguments_);
  if (request_.context.cleanup_fn != nullptr) request_.context.cleanup_fn(&request_.context);
}

void device::reload(outcome &got) {
  now_ = &got;
  zu_do_error *error = render_tovra_reload_func();
  got.done = error == nullptr;
  if (error != nullptr) take_error(this, zu_do_error_get_code(error), zu_do_error_get_msg(error));
  zu_do_error_deref(error);
}

std::vector<kind> device::all_kinds() {
  constexpr int own_code = 4711;
  static const char *const names[ZU_CALL_COUNT] = {"get-coll", "get-crudx", "open", "fetch", "get"};
  std::vector<kind> kinds = memory_kinds();
  for (int i = 0; i < ZU_CALL_COUNT; ++i) {
    for (const int code : {own_code, int{ZU_NOT_FOUND}}) {
      kinds.push_back(call_kind(static_cast<zu_store_call>(i), names[i], code));
    }
  }
  kinds.push_back(condition_kind());
  kinds.push_back(output_kind());
  return kinds;
}

kind device::call_kind(zu_store_call call, const char *name, int code) {
  const auto arm = [this, call, code](uint64_t n) {
    zu_store_wrapper_reset(wrapper_);
    zu_store_wrapper_fail(wrapper_, call, n + 1, code);
  };
  const auto disarm = [this, call] {
    const uint64_t fired = zu_store_wrapper_fired(wrapper_);
    zu_store_wrapper_fail(wrapper_, call, 0, 0);
    return fired;
  };
  const bool no_record = call == ZU_CALL_GET && code == ZU_NOT_FOUND;
  return {.name = std::string(name) + "-" + std::to_string(code),
          .means = no_record ? meaning::no_record : meaning::error,
          .arm = arm,
          .disarm = disarm,
          .seen = [this, call] { return zu_store_wrapper_calls(wrapper_, call); },
          .code = code};
}

kind device::output_kind() {
  const auto disarm = [this] {
    const bool refused = pieces_ > refused_from_;
    refused_from_ = never;
    return refused ? 1u : 0u;
  };
  return {.name = "output",
          .means = meaning::refusal,
          .arm = [this](uint64_t n) { refused_from_ = n; },
          .disarm = disarm,
          .seen = [this] { return pieces_; }};
}

bool device::take_text(zu_tovra_context *context, zu_cli_context *, const char *text) {
  device &self = *reinterpret_cast<request *>(context)->self;
  if (self.pieces_++ >= self.refused_from_) return false;
  self.now_->text.emplace_back(text);
  return true;
}

void device::take_error(void *self, int32_t code, const char *message) {
  static_cast<device *>(self)->now_->errors.push_back(std::to_string(code) + " " + message);
}

void device::watch(void *self, zu_store_call call, const char *, uint64_t flags) {
  constexpr uint64_t collection_read = 0x10; // set by collection nodes
  if (call == ZU_CALL_OPEN_CURSOR && (flags & collection_read) == 0) {
    static_cast<device *>(self)->read_ahead_ = true;
  }
}

} // namespace fault

// Stands before the framework's own.
bool zu_cli_exec_resolve_cond(zu_cli_context *cli, zu_results_array *results, const char *command,
                              zu_cli_cmd_op *op, zu_do_properties *properties, bool *holds) {
  static const auto next =
      reinterpret_cast<decltype(&zu_cli_exec_resolve_cond)>(dlsym(RTLD_NEXT, "zu_cli_exec_resolve_cond"));
  if (fault::conditions++ == fault::failing_condition) return false;
  return next(cli, results, command, op, properties, holds);
}
