// Finds which findings are only consequences of others. One mistake, such as a wrong path high in the tree,
// may cause dozens of findings; the author needs to see the mistake first. Mending it removes its
// consequences.
#include <algorithm>
#include <map>

#include "rules.hpp"

namespace tovra::check {

namespace {

bool is_one_of(const finding &found, std::initializer_list<std::string_view> ids) {
  return std::find(ids.begin(), ids.end(), found.id) != ids.end();
}

class causes {
public:
  causes(const subject &subject, const std::vector<finding> &all) {
    for (const visit &visit : subject.ways.visits) ways_.try_emplace(visit.at, visit.way);
    for (const finding &found : all) {
      if (found.at == nullptr) continue;
      if (is_one_of(found, {"carried", "nameless", "repeated", "tab", "plain-path", "single-read"})) {
        of_records_.try_emplace(found.at, &found);
      }
      if (is_one_of(found, {"carried", "plain-path", "single-read", "unknown-path", "unknown-line"}) &&
          found.at->find(word::uri) != nullptr) {
        of_reads_.try_emplace(found.at, &found);
      }
      if (!found.about.empty() && is_one_of(found, {"jump", "orphan", "unknown-path", "unknown-property",
                                                    "carried", "single-read"})) {
        of_names_.try_emplace(found.about, &found);
      }
    }
  }

  // The cause of a finding, or null.
  const finding *of(const finding &found) const {
    const finding *cause = nullptr;
    if (is_one_of(found, {"unreached", "unread-records", "unread-property"})) {
      cause = find(of_names_, found.about); // the records that a wrong name should have named
    } else if (is_one_of(found, {"repeated", "discarded", "props-before-fmt", "literal-slot", "empty-slot",
                                 "no-array", "count", "unknown-path", "key"})) {
      cause = find(of_records_, found.at); // one record, of which a line was misread
    }
    if (cause == nullptr && is_one_of(found, {"key", "scope", "incomplete", "optional", "list-path"})) {
      cause = read_above(found);
    }
    return cause != &found ? cause : nullptr;
  }

private:
  static const finding *find(const auto &all, const auto &key) {
    const auto at = all.find(key);
    return at != all.end() ? at->second : nullptr;
  }

  // The finding about the read above that should have brought the missing records.
  const finding *read_above(const finding &found) const {
    const auto way = ways_.find(found.at);
    if (way == ways_.end()) return nullptr;
    for (const step *above = way->second->above; above != nullptr; above = above->above) {
      if (const finding *cause = find(of_reads_, above->at)) return cause;
    }
    return nullptr;
  }

  std::map<const record *, const step *> ways_; // the first way to each record
  std::map<const record *, const finding *> of_records_;
  std::map<const record *, const finding *> of_reads_;
  std::map<std::string, const finding *> of_names_;
};

} // namespace

void fold_consequences(const subject &subject, findings &found) {
  const causes all(subject, found.all());
  found.fold([&all](const finding &each) { return all.of(each); });
}

} // namespace tovra::check
