// Following a render: the nodes that are being walked with the records that they brought, and the number of
// the line that each piece of text goes to.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "../request.hpp"

namespace tovra::follow {

// A node on the way from the start of the walk to the node at hand.
struct step {
  const zu_tvr_node *node = nullptr; // of the library's tree, which lives as long as the request
  std::string record;                // the URI of the one it brought last, or empty
};

class watch : public receiver {
public:
  // Says errors with their places, and calls the operations below. As request::render.
  bool follow(request &made);

protected:
  // What a piece of text is to its lines, numbered from 1 as an operator counts them.
  struct written_piece {
    std::string_view text;
    uint64_t first_line; // that it writes to
    uint64_t last_line;
  };

  virtual void entered() {}
  virtual void left() {} // the node is still the innermost step
  virtual void line(const zu_tvr_event &, const written_piece &) {}
  virtual void other(const zu_tvr_event &) {} // ASK, RECORD, WITHHELD, ERROR

  const std::vector<step> &steps() const { return steps_; }
  // The innermost record in scope, or empty.
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
