// Look-ups on the two caches. A record or group matches when its URI is the one that is looked up, or that
// one with a query ("?...") behind it.
#include "zu_tovra/internal/records_cache.hpp"
#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/internal/shortcuts.hpp"

namespace {

using tvr::looked_up;

// The URI, of a record or of a collection, that a record's property holds; read by the plain calls.
zu_do_uri_text read_uri_plainly(zu_do_properties *record, const char *name) noexcept {
  zu_do_property *property = zu_do_properties_get_prop(record, name);
  if (property == nullptr) return {nullptr, 0, ZU_DO_NO_PROPERTY};
  zu_do_value *value = zu_do_property_get_value(property);
  int code = ZU_OK;
  zu_do_uri *uri = zu_do_value_get_mr_uri(value, &code);
  if (uri == nullptr || code != ZU_OK) {
    code = ZU_OK;
    uri = zu_do_value_get_coll_uri(value, &code);
  }
  if (uri == nullptr || code != ZU_OK) return {nullptr, 0, ZU_DO_HAS_NO_URI};
  return {zu_do_uri_get_uri_str(uri), static_cast<uint32_t>(zu_do_uri_get_len(uri)), ZU_DO_HAS_URI};
}

inline zu_do_uri_text read_uri(zu_do_properties *record, bool by_collection) noexcept {
  if (tvr::shortcuts.read_uri == nullptr) {
    return read_uri_plainly(record, by_collection ? ZU_DO_NAME_COLL_URI : ZU_DO_NAME_URI);
  }
  zu_do_uri_text found;
  tvr::shortcuts.read_uri(record, by_collection, &found);
  return found;
}

// True when the record's text is the wanted one, or the wanted one with a query behind it. The second part is
// compared first: it holds the name, in which texts differ most.
inline bool answers(const zu_do_uri_text &record, const looked_up &wanted) noexcept {
  const size_t first = wanted.first.size();
  const size_t length = first + wanted.second.size();
  if (record.length < length || (record.length > length && record.text[length] != '?')) return false;
  return std::string_view(record.text + first, wanted.second.size()) == wanted.second &&
         std::string_view(record.text, first) == wanted.first;
}

enum class match { no, yes, unreadable };

[[gnu::always_inline]] inline match compare(const zu_do_uri_text &found, const looked_up &wanted) noexcept {
  if (found.text == nullptr) {
    if (found.state == ZU_DO_NO_PROPERTY) return match::no;
    if (found.state == ZU_DO_HAS_NO_URI) TVR_ERROR("Failed to read uri from value");
    if (found.state == ZU_DO_HAS_URI) TVR_ERROR("Failed to read string value from URI");
    return match::unreadable;
  }
  if (answers(found, wanted)) {
    TVR_DEBUG("stack match: %s", found.text);
    return match::yes;
  }
  TVR_DEBUG("stack nomatch: %s", found.text);
  return match::no;
}

bool record_matches(zu_do_uri *uri, zu_do_properties *record, const char *name) noexcept {
  const looked_up wanted = {{zu_do_uri_get_uri_str(uri), zu_do_uri_get_len(uri)}};
  return compare(read_uri_plainly(record, name), wanted) == match::yes;
}

} // namespace

namespace tvr {

cache_answer look_up_text(const zu_tvr_stack *cache, const looked_up &wanted, bool by_collection) noexcept {
  cache_answer answer;
  zu_tvr_stack_entry *entry = cache != nullptr ? cache->top : nullptr;
  for (; entry != nullptr; entry = entry->next) {
    ++answer.consulted;
    auto *record = static_cast<zu_do_properties *>(entry->item);
    const match matched = compare(read_uri(record, by_collection), wanted);
    if (matched == match::yes) {
      answer.entry = entry;
      break;
    }
    if (matched == match::unreadable) answer.silent = false;
  }
  return answer;
}

cache_answer remembered_look_up::again(const zu_tvr_stack *cache, const looked_up &wanted,
                                       bool by_collection) const noexcept {
  if (stamp_ == 0 || cache == nullptr) return {};
  cache_answer answer = {.entry = cache->top, .consulted = 1};
  for (; answer.entry != nullptr && answer.entry->level > level_; answer.entry = answer.entry->next) {
    if (answer.entry->revision == nullptr) return {};
    const zu_do_uri_text found = read_uri(answer.record(), by_collection);
    if (found.state == ZU_DO_HAS_NO_URI || (found.text != nullptr && answers(found, wanted))) return {};
    ++answer.consulted;
  }
  if (answer.entry == nullptr || answer.entry->stamp != stamp_ || *answer.entry->revision != revision_)
    return {};
  return answer;
}

} // namespace tvr

extern "C" {

bool tvr_props_match(void *key, void *item, void *extra) noexcept {
  return record_matches(static_cast<zu_do_uri *>(key), static_cast<zu_do_properties *>(item),
                        static_cast<const char *>(extra));
}

bool tvr_props_group_match(void *key, void *item, void *) noexcept {
  auto *uri = static_cast<zu_do_uri *>(key);
  zu_do_properties *first = zu_do_properties_list_get(static_cast<zu_do_properties_list *>(item), 0);
  if (first == nullptr) return false;
  TVR_DEBUG("stack lookup (group): %s", zu_do_uri_get_uri_str(uri));
  return record_matches(uri, first, ZU_DO_NAME_COLL_URI);
}
}
