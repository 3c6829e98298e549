// Explaining lines of the text: which node writes a line, from what, and below which nodes.
#pragma once

#include <functional>

#include "../follow/watch.hpp"
#include "words.hpp"

namespace tovra::explain {

// What wrote a line, or a part of it.
struct source {
  std::vector<follow::step> steps; // from the start of the walk to the node that wrote
  std::vector<shown_value> values;
};

struct explained_line {
  uint64_t number = 0;
  std::string text;
  std::vector<source> sources;
};

// Hands over each line when it is complete.
class line_watch : public follow::watch {
public:
  // `wanted` says by its number whether a line may be asked for: others are not handed over.
  line_watch(std::function<bool(uint64_t)> wanted, std::function<void(const explained_line &)> take)
      : wanted_(std::move(wanted)), take_(std::move(take)) {}
  // After the render.
  void end() { complete(); }
  uint64_t lines() const { return current_.number; } // of the text

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
