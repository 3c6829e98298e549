// Coverage in words: what is left out, by template file and by data path.
#include <algorithm>
#include <unordered_map>

#include "../output.hpp"
#include "report.hpp"

namespace tovra::coverage {

namespace {

constexpr size_t most_named = 3; // records
constexpr size_t most_nodes_named = 8;

std::string words_of(const share &of, const char *what) {
  return std::to_string(of.covered) + " of " + std::to_string(of.all) + " " + what;
}

std::string counted(uint64_t count, const char *what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string reasons(const node_cover &node) {
  std::string text;
  auto withheld = node.withheld;
  if (node.errors != 0) withheld["error"] = node.errors;
  for (const auto &[why, times] : withheld) {
    text += (text.empty() ? ": " : ", ") + why + " " + std::to_string(times);
  }
  return text;
}

// Nodes that follow each other in a file and were not walked for the same reason: they are reported together.
class unwalked {
public:
  // The text about the nodes so far, before a node with another reason.
  std::string end() {
    std::string text = why_ == nullptr ? "" : first_;
    if (count_ > most_nodes_named) text += " and " + std::to_string(count_ - most_nodes_named) + " more";
    if (why_ != nullptr) text += ": never walked: " + visible(*why_) + "\n";
    why_ = nullptr;
    count_ = 0;
    return text;
  }
  std::string add(const std::string &name, const std::string &why) {
    std::string before = why_ == nullptr || *why_ != why ? end() : "";
    first_ = why_ == nullptr ? "  " + name : count_ < most_nodes_named ? first_ + ", " + name : first_;
    why_ = &why;
    ++count_;
    return before;
  }

private:
  const std::string *why_ = nullptr;
  std::string first_;
  size_t count_ = 0;
};

std::string words_of(const file_cover &nodes) {
  std::string text;
  unwalked below;
  for (const auto &[at, node] : nodes) {
    if (node.hits() != 0) continue;
    const std::string name = std::to_string(at.first) + " " + visible(at.second);
    if (node.walks == 0) {
      text += below.add(name, node.never);
    } else {
      text +=
          below.end() + "  " + name + ": no line in " + counted(node.walks, "walk") + reasons(node) + "\n";
    }
  }
  return text + below.end();
}

// Records about which the same text is reported: they are listed together.
struct heap {
  std::string told;
  std::vector<std::string> first;
  size_t count = 0;
};

class heaps {
public:
  void add(const std::string &told, std::string record) {
    const auto [at, is_new] = number_.emplace(told, all_.size());
    if (is_new) all_.push_back({told, {}, 0});
    heap &one = all_[at->second];
    if (++one.count <= most_named) one.first.push_back(std::move(record));
  }
  std::string words(const std::string &path, uint64_t records) const {
    std::string text;
    for (const heap &one : all_) {
      text += "  " + visible(path + one.told) + " in " + std::to_string(one.count) + " of " +
              counted(records, "record");
      for (size_t i = 0; i < one.first.size(); ++i) text += (i == 0 ? ": " : ", ") + visible(one.first[i]);
      text += one.count > one.first.size() ? ", ...\n" : "\n";
    }
    return text;
  }

private:
  std::vector<heap> all_; // in the order in which they are met
  std::unordered_map<std::string, size_t> number_;
};

std::string told_of(const gap &one) {
  switch (one.how) {
  case seen::withheld:
    return " " + one.property + ": only in the line of " + one.by + ", whose condition is false,";
  case seen::partly:
    return " " + one.property + ": only some elements";
  default:
    return " " + one.property + ": not shown";
  }
}

std::string elements_of(const gap &one) {
  std::string text;
  for (size_t i = 0; i < std::min(one.elements.size(), most_named); ++i) {
    text += (i == 0 ? " without [" : ", [") + std::to_string(one.elements[i]) + "]";
  }
  return text + (one.elements.size() > most_named ? ", ..." : "");
}

std::string words_of(const std::string &path, const path_cover &cover) {
  heaps found;
  for (const record_gaps &record : cover.gaps) {
    if (!record.shown) {
      found.add(": nothing shown", record.uri);
      continue;
    }
    for (const gap &one : record.gaps) {
      if (one.how != seen::condition) found.add(told_of(one), record.uri + elements_of(one));
    }
  }
  return found.words(path, cover.records);
}

} // namespace

std::string as_words(const report &told) {
  const auto heading = [](const share &of, const char *what) {
    return words_of(of, what) + ", " + of.percent() + "\n";
  };
  std::string text = heading(told.nodes(), "nodes covered") + heading(told.properties(), "properties shown");
  text += "\n";
  for (const auto &[file, nodes] : told.templates) {
    text += visible(file) + ": " + words_of(nodes_of(nodes), "nodes") + "\n" + words_of(nodes);
  }
  text += "\n";
  for (const auto &[file, paths] : told.data) {
    text += visible(file) + ": " + words_of(properties_of(paths), "properties") + "\n";
    for (const auto &[path, cover] : paths) text += words_of(path, cover);
  }
  return text;
}

} // namespace tovra::coverage
