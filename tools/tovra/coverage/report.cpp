// Adds up what renders have covered.
#include "report.hpp"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <unordered_map>

namespace tovra::coverage {

share &share::operator+=(const share &other) {
  covered += other.covered;
  all += other.all;
  return *this;
}

bool share::is_under(double percent) const {
  return static_cast<double>(covered) * 100 < percent * static_cast<double>(all);
}

std::string share::percent() const {
  const uint64_t tenths = all == 0 ? 1000 : covered * 1000 / all;
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " %";
}

namespace {

// Of two reasons why a node was not walked, missing data says more than that a render ended earlier.
void add_node(node_cover &to, node_cover &other) {
  if (to.walks == 0 && other.walks == 0 && other.for_lack_of_data && !to.for_lack_of_data) {
    to.never = std::move(other.never);
    to.for_lack_of_data = true;
  }
  to.walks += other.walks;
  to.lines += other.lines;
  to.records += other.records;
  to.errors += other.errors;
  for (const auto &[why, times] : other.withheld) to.withheld[why] += times;
}

// Keeps in `to` what neither of the two shows. False: there is no gap left.
bool keep_common(gap &to, const gap &other) {
  if (to.how == seen::partly && other.how == seen::partly) {
    std::vector<uint64_t> left;
    std::set_intersection(to.elements.begin(), to.elements.end(), other.elements.begin(),
                          other.elements.end(), std::back_inserter(left));
    to.elements = std::move(left);
    return !to.elements.empty();
  }
  if (other.how > to.how) to = other;
  return true;
}

bool keep_common(record_gaps &to, const record_gaps &other) {
  to.shown = to.shown || other.shown;
  std::unordered_map<std::string_view, const gap *> its;
  for (const gap &one : other.gaps) its[one.property] = &one;
  std::erase_if(to.gaps, [&](gap &mine) {
    const auto found = its.find(mine.property);
    return found == its.end() || !keep_common(mine, *found->second);
  });
  return !to.gaps.empty();
}

void add_path(path_cover &to, const path_cover &other) {
  std::unordered_map<std::string_view, const record_gaps *> its;
  for (const record_gaps &record : other.gaps) its[record.uri] = &record;
  std::erase_if(to.gaps, [&](record_gaps &mine) {
    const auto found = its.find(mine.uri);
    return found == its.end() || !keep_common(mine, *found->second);
  });
}

} // namespace

void report::add(report &&other) {
  for (auto &[file, nodes] : other.templates) {
    for (auto &[at, node] : nodes) {
      const auto [mine, is_new] = templates[file].try_emplace(at, std::move(node));
      if (!is_new) add_node(mine->second, node);
    }
  }
  for (auto &[file, paths] : other.data) {
    const auto [mine, is_new] = data.try_emplace(file, std::move(paths));
    if (is_new) continue;
    for (auto &[path, cover] : paths) {
      const auto [its, is_new_path] = mine->second.try_emplace(path, std::move(cover));
      if (!is_new_path) add_path(its->second, cover);
    }
  }
}

void report::rename(const std::function<std::string(const std::string &)> &name) {
  std::map<std::string, std::string> names;
  report renamed;
  for (auto &[file, nodes] : templates) {
    renamed.templates[names[file] = name(file)] = std::move(nodes);
  }
  for (auto &[file, paths] : data) renamed.data[name(file)] = std::move(paths);
  const auto rename_place = [&](std::string &text) {
    const size_t end = std::min(text.find(':'), text.size());
    if (const auto found = names.find(text.substr(0, end)); found != names.end())
      text.replace(0, end, found->second);
  };
  for (auto &[file, nodes] : renamed.templates) {
    for (auto &[at, node] : nodes) rename_place(node.never);
  }
  for (auto &[file, paths] : renamed.data) {
    for (auto &[path, cover] : paths) {
      for (record_gaps &record : cover.gaps) {
        for (gap &one : record.gaps) rename_place(one.by);
      }
    }
  }
  *this = std::move(renamed);
}

share nodes_of(const file_cover &file) {
  const auto covered =
      std::count_if(file.begin(), file.end(), [](const auto &node) { return node.second.hits() != 0; });
  return {static_cast<uint64_t>(covered), file.size()};
}

share properties_of(const data_cover &data) {
  share made;
  for (const auto &[path, cover] : data) {
    made += {cover.properties, cover.properties};
    for (const record_gaps &record : cover.gaps) {
      for (const gap &one : record.gaps) made.covered -= one.how != seen::condition ? 1 : 0;
    }
  }
  return made;
}

share report::nodes() const {
  share made;
  for (const auto &[file, nodes] : templates) made += nodes_of(nodes);
  return made;
}

share report::properties() const {
  share made;
  for (const auto &[file, paths] : data) made += properties_of(paths);
  return made;
}

const std::map<std::string, form> &forms() {
  static const std::map<std::string, form> made = {
      {"text", form::text}, {"json", form::json}, {"lcov", form::lcov}};
  return made;
}

std::string as_text(const report &told, form how) {
  return how == form::json ? as_json(told) : how == form::lcov ? as_lcov(told) : as_words(told);
}

} // namespace tovra::coverage
