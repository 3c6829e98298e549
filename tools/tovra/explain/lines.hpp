// Explains lines of the text: the node that wrote a line, the values that it read, and the nodes above it. It
// follows the events of a render, because only a render knows from which record a value came.
#pragma once

#include <functional>

#include "../follow/watch.hpp"
#include "words.hpp"

namespace tovra::explain {

// The node that wrote a line, or a part of it.
struct source {
  std::vector<follow::step> steps; // from the start of the walk to that node
  std::vector<shown_value> values;
};

struct explained_line {
  uint64_t number = 0;
  std::string text;
  std::vector<source> sources;
};

// Hands over each line when it is complete: several nodes may write parts of one line.
class line_watch : public follow::watch {
public:
  // `wanted` returns whether the line with that number may be asked for. Other lines are not handed over, and
  // nothing is kept of them.
  line_watch(std::function<bool(uint64_t)> wanted, std::function<void(const explained_line &)> take)
      : wanted_(std::move(wanted)), take_(std::move(take)) {}
  // Called after the render.
  void end() { complete(); }
  uint64_t lines() const { return current_.number; } // number of lines in the text

private:
  void line(const zu_tvr_event &event, const written_piece &piece) override;
  void start(uint64_t number);
  void complete();

  std::function<bool(uint64_t)> wanted_;
  std::function<void(const explained_line &)> take_;
  explained_line current_;
};

std::string as_text(const explained_line &line);
nlohmann::ordered_json as_json(const explained_line &line);

} // namespace tovra::explain
