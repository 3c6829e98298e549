/* Rendering from C++: to a string or to a sink, every error with the place where it was found.
 *
 * A class over entry.h and observe.h for hosts that use the bundled platform; all of it is inline. Such a
 * host still starts and stops the library itself (zu_tovra_init, zu_tovra_stop).
 */
#ifndef ZU_TOVRA_RENDER_HPP
#define ZU_TOVRA_RENDER_HPP

#include <cli_exec/cli_exec.h>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zu_tovra/zu_tovra.h"

namespace zu_tovra {

/* An error and its place. Texts are empty and the line is 0 when they are not known: a request that fails
 * before its walk has no place. */
struct error {
  int32_t code = 0; /* of zuapi/base.h, or what the data interface gave */
  std::string message = {};
  std::string file = {}; /* of the template */
  uint32_t line = 0;
  std::string node = {};     /* id of the node that was being walked; "ROOT" above all nodes */
  std::string uri = {};      /* of the record or the collection ("?") that was being read or printed */
  std::string property = {}; /* of that record, when one property is the reason */
};

/* A request. Everything is borrowed for the call. */
struct request {
  const char *node = nullptr;                /* the node to start from; null: everything */
  const char *config = nullptr;              /* a named configuration; null: the renderer's data */
  zu_do_properties *arguments = nullptr;     /* what conditions and queries read; null: no arguments */
  bool defaults = false;                     /* also lines whose values are all defaults */
  bool submode_tags = false;                 /* a tag at the end of each submode */
  const zu_tvr_observer *observer = nullptr; /* gets the kinds of events that it names; or null */
};

/* Takes a piece of text, borrowed for the call; returns false to end the render. Each line begins with its
 * line feed, so the whole text begins with one and does not end with one. */
using text_sink = std::function<bool(std::string_view)>;
using error_sink = std::function<void(const error &)>;

/* A text and its errors. When `whole` is false, the text is only a part of the configuration and must not be
 * used as all of it. */
struct result {
  std::string text; /* every line ends with a line feed */
  std::vector<error> errors;
  bool whole = false;
};

/* Renders the records of one data interface, one request after the other. A renderer belongs to one thread at
 * a time; different renderers may be used by different threads at the same time. */
class renderer {
public:
  /* Takes a reference on the data interface. Throws std::bad_alloc. */
  explicit renderer(zu_data_ifc *data) : cli_(zu_cli_context_new(data, take_error, this)) {
    if (!cli_) throw std::bad_alloc();
  }
  renderer(const renderer &) = delete;
  renderer &operator=(const renderer &) = delete;

  /* Adds a configuration that a request can name, or replaces the one of that name. Takes a reference on the
   * data interface. 0, or an error code, and then nothing is changed. */
  int add_config(const char *name, zu_data_ifc *data) {
    return zu_cli_context_add_config(cli_.get(), name, data);
  }

  /* Hands out text and errors as they come, on the calling thread; an error comes after the text that
   * precedes it. True when the text is whole: the walk came to its end, no error was reported, nothing was
   * refused. False may come without an error (see the embedding guide). An exception from a sink ends the
   * render; it is thrown again from here when everything is freed. */
  bool render(const request &asked, const text_sink &text, const error_sink &errors);

  /* The text as one string. Throws std::bad_alloc. */
  result render(const request &asked = {}) {
    result made;
    made.whole = render(
        asked, [&made](std::string_view piece) { return made.text += piece, true; },
        [&made](const error &found) { made.errors.push_back(found); });
    if (made.text.starts_with('\n')) made.text.erase(0, 1);
    if (!made.text.empty()) made.text += '\n';
    return made;
  }

private:
  struct call {
    zu_tovra_context context = {}; /* first, so that the library's context leads back here */
    renderer *self;
  };
  template <auto Free>
  struct free_with {
    template <class Object>
    void operator()(Object *object) const {
      Free(object);
    }
  };

  /* The library is C code to its callbacks: no exception may
   * pass through it. It is kept, and the render ends. */
  template <class Step>
  void keep_exceptions(const Step &step) noexcept {
    if (thrown_) return;
    try {
      step();
    } catch (...) {
      thrown_ = std::current_exception();
    }
  }
  static bool take_text(zu_tovra_context *context, zu_cli_context *, const char *piece) {
    renderer &self = *reinterpret_cast<call *>(context)->self;
    /* The library may offer text again after a refusal; taken, it would leave a gap in the text. */
    if (!self.refused_) {
      self.refused_ = true;
      self.keep_exceptions([&self, piece] { self.refused_ = !(*self.text_)(piece); });
    }
    return !self.refused_;
  }
  /* The event with the error's place comes right after the error, unless the walk has not begun. So an error
   * waits in `told_` for its place. */
  static void take_error(void *context, int32_t code, const char *message) {
    renderer &self = *static_cast<renderer *>(context);
    self.failed_ = true;
    self.tell_error();
    self.keep_exceptions([&] { self.told_.emplace().message = message != nullptr ? message : ""; });
    if (self.told_) self.told_->code = code;
  }
  static void take_event(void *user, const zu_tvr_event *event) {
    renderer &self = *static_cast<renderer *>(user);
    if (event->kind == ZU_TVR_EVENT_ERROR) {
      self.keep_exceptions([&] { self.add_place(*event); });
      self.tell_error();
    }
    const zu_tvr_observer *observer = self.observer_;
    if (observer != nullptr && (observer->kinds >> event->kind & 1) != 0) {
      observer->event(observer->user, event);
    }
  }
  void add_place(const zu_tvr_event &event) {
    if (!told_) return;
    const auto text = [](const char *given) { return given != nullptr ? given : ""; };
    told_->uri = text(event.uri);
    told_->property = text(event.property);
    if (event.node == nullptr) return;
    told_->file = text(zu_tvr_node_file(event.node));
    told_->line = zu_tvr_node_line(event.node);
    const char *id = zu_tvr_node_id(event.node);
    told_->node = id != nullptr ? id : "ROOT";
  }
  void tell_error() noexcept {
    if (!told_) return;
    keep_exceptions([this] { (*errors_)(*told_); });
    told_.reset();
  }

  std::unique_ptr<zu_cli_context, free_with<zu_cli_context_free>> cli_;
  /* Of the request that is being rendered. */
  const text_sink *text_ = nullptr;
  const error_sink *errors_ = nullptr;
  const zu_tvr_observer *observer_ = nullptr;
  std::optional<error> told_; /* reported by the library, its place not known yet */
  std::exception_ptr thrown_;
  bool refused_ = false;
  bool failed_ = false;
};

inline bool renderer::render(const request &asked, const text_sink &text, const error_sink &errors) {
  constexpr int32_t everything = 2;
  constexpr int32_t one_node = 1;
  const std::unique_ptr<zu_do_properties, free_with<zu_do_properties_deref>> reserved(zu_do_properties_new());
  if (!reserved) throw std::bad_alloc();
  call made;
  made.context.output_fn = take_text;
  made.self = this;
  text_ = &text;
  errors_ = &errors;
  observer_ = asked.observer;
  refused_ = failed_ = false;
  cli_->render_defaults = asked.defaults ? 1 : 0;
  cli_->tag_submodes = asked.submode_tags ? 1 : 0;

  const zu_tvr_observer own = {take_event, this,
                               1u << ZU_TVR_EVENT_ERROR | (observer_ != nullptr ? observer_->kinds : 0)};
  const zu_tvr_observer *before = zu_tvr_observe(&own);
  const bool walked = render_tovra_config_func(
      cli_.get(), &made.context, asked.node != nullptr ? one_node : everything, asked.node, asked.config,
      asked.arguments != nullptr ? asked.arguments : reserved.get(), reserved.get());
  zu_tvr_observe(before);
  tell_error();
  if (made.context.cleanup_fn != nullptr) made.context.cleanup_fn(&made.context);
  if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
  return walked && !refused_ && !failed_;
}

} // namespace zu_tovra

#endif
