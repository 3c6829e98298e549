// Follows a render by the library's observer events. Explanations and coverage need more than one event
// shows: the nodes that are being walked, with the records that they brought, and the number of the line to
// which each piece of text goes. Both are kept here, once for all tools.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "../request.hpp"

namespace tovra::follow {

// A node on the way from the start of the walk to the current node.
struct step {
  const zu_tvr_node *node = nullptr; // of the library's tree, which lives as long as the request
  std::string record;                // URI of the record that it brought last, or empty
};

class watch : public receiver {
public:
  // Renders and calls the operations below; reports errors with their places. The result is that of
  // request::render.
  bool follow(request &made);

protected:
  // A piece of text, and the lines to which it belongs, counted from 1.
  struct written_piece {
    std::string_view text;
    uint64_t first_line; // the first line to which it writes
    uint64_t last_line;
  };

  virtual void entered() {}
  virtual void left() {} // the node is still the innermost step
  virtual void line(const zu_tvr_event &, const written_piece &) {}
  virtual void other(const zu_tvr_event &) {} // ASK, RECORD, WITHHELD, ERROR

  const std::vector<step> &steps() const { return steps_; }
  // The innermost record in scope, or the empty text.
  const std::string &record() const;

private:
  bool take_text(std::string_view) final { return true; }
  void take_error(const zu_tovra::error &error) final { say_error(error); }
  void take(const zu_tvr_event &event);
  written_piece place(const char *text);

  std::vector<step> steps_;
  uint64_t line_ = 1;
  bool any_ = false;
};

} // namespace tovra::follow
