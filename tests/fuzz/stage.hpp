// A tree and a store, and renders of the tree over the store that record all that they do.
#pragma once

#include "fuzz.hpp"
#include "store/store.h"

namespace fuzz {

using own_tree = own<zu_tvr_tree, zu_tvr_tree_delete>;

struct free_data {
  void operator()(zu_data_ifc *data) const { data->ops->free(data); }
};
using own_data = std::unique_ptr<zu_data_ifc, free_data>;

// A tree of a template text with resolved links; null (traced) when it is refused.
inline own_tree load_tree(const char *text, int level, std::string *log = nullptr) {
  const traces seen(level, log);
  own_tree tree(zu_tvr_tree_new());
  zu_do_error *error = nullptr;
  const bool loaded = zu_tvr_load_meta_from_str(tree.get(), text, &error);
  const own_error held(error);
  check(!loaded || error == nullptr, "a text that loads has no error");
  const bool resolved = loaded && tree->resolve_links(tree.get());
  if (level >= 3)
    check(resolved || seen.text.find("(ERR): ") != std::string::npos, "a refusal is traced", text);
  return resolved ? std::move(tree) : nullptr;
}

// How a render is asked for.
struct request {
  const char *node = nullptr;
  bool defaults = false;
  bool tag_submodes = false;
  uint32_t fetch_count = 0;
  zu_do_properties *arguments = nullptr;
  uint64_t failing_request = 0; // from 1; 0: none
  int failure = 0;
  int refused_piece = 0; // of the text; the same
};

// What a render did: its result, text, reports and requests.
struct outcome {
  std::string told;
  std::string text;
  bool clean = false; // true, and nothing reported
  std::string log;    // everything and all traces, in the order in which it happened
};

class render {
public:
  render(zu_tvr_tree *tree, zu_data_ifc *data, const request &asked, int level)
      : refused_(asked.refused_piece), wrapper_(zu_store_wrapper_new(data)),
        cli_(zu_cli_context_new(zu_store_wrapper_ifc(wrapper_.get()), take_cli_error, this)) {
    zu_store_wrapper_watch(wrapper_.get(), take_request, this);
    zu_store_wrapper_fail_any(wrapper_.get(), asked.failing_request, asked.failure);
    external_ctx external = {
        .tovra_context = nullptr, .cli_context = cli_.get(), .walk_ctx = nullptr, .config_data_ifc = nullptr};
    const own<zu_tvr_cond_args, zu_tvr_cond_args_delete> conditions(zu_tvr_cond_args_new(&external));
    const own<zu_tvr_walk_ctx, zu_tvr_walk_ctx_delete> walk(zu_tvr_walk_ctx_new(
        cli_->data_ifc, nullptr, asked.arguments, asked.defaults, 0x1010000, asked.fetch_count,
        asked.tag_submodes, conditions.get(), this, take_error, take_text));
    const traces seen(level, &did.log);
    const bool ended = tree->walk(tree, asked.node, walk.get());
    did.told = requests_ + reports_ + text_ + (ended ? "\n(end)" : "\n(failed)");
    did.clean = ended && reports_.empty();
    did.text = text_;
    did.log += ended ? "walked:" : "failed:";
    for (int call = 0; call < ZU_CALL_COUNT; ++call) {
      did.log +=
          " " + std::to_string(zu_store_wrapper_calls(wrapper_.get(), static_cast<zu_store_call>(call)));
    }
    did.log += " calls, " + std::to_string(zu_store_wrapper_rows(wrapper_.get())) + " rows\n";
    qtrace_set_level(0);
  }

  outcome did;

private:
  // Lists within lists have no end that is worth waiting for.
  static constexpr int most_requests = 300;
  static constexpr int most_pieces = 2000;

  static void take_request(void *self, zu_store_call call, const char *uri, uint64_t flags) {
    auto *one = static_cast<render *>(self);
    if (++one->asked_ > most_requests) {
      zu_store_wrapper_fail_any(one->wrapper_.get(), 1, ZU_FAILED);
      return;
    }
    char word[48];
    std::snprintf(word, sizeof word, "%d %llx ", static_cast<int>(call),
                  static_cast<unsigned long long>(flags));
    one->requests_.append(word).append(uri).append("\n");
    one->did.log.append("request: ").append(word).append(uri).append("\n");
  }
  static int take_error(void *self, int32_t code, const char *message) {
    auto *one = static_cast<render *>(self);
    const std::string report = std::to_string(code) + " " + message + "\n";
    one->reports_ += report;
    one->did.log += "error: " + report;
    return 0;
  }
  static void take_cli_error(void *self, int32_t code, const char *message) {
    take_error(self, code, message);
  }
  static bool take_text(void *self, const char *text) {
    auto *one = static_cast<render *>(self);
    one->text_ += text;
    one->did.log.append("text: ").append(text).append("\n");
    return ++one->pieces_ != one->refused_ && one->pieces_ < most_pieces;
  }

  const int refused_;
  int asked_ = 0;
  int pieces_ = 0;
  std::string requests_, reports_, text_;
  own<zu_store_wrapper, zu_store_wrapper_free> wrapper_;
  own<zu_cli_context, zu_cli_context_free> cli_;
};

// Tracing changes nothing but traces.
inline outcome render_alike(zu_tvr_tree *tree, zu_data_ifc *data, const request &asked) {
  const outcome traced = render(tree, data, asked, 7).did;
  same("renders with and without traces", traced.told, render(tree, data, asked, 0).did.told);
  return traced;
}

} // namespace fuzz
