// Interned names: one object for each text, found through one table.
#include <mutex>
#include <shared_mutex>

#include "zuapi/objects.hpp"

using namespace zuapi;

namespace {

// The memory of the index is charged to no area, because it is kept for later names.
struct name_table {
  std::shared_mutex lock;
  infra::hash_index<zu_do_name *, nullptr> names{0};
};

// Never destroyed: names may be released while the process ends.
name_table &table() {
  alignas(name_table) static unsigned char room[sizeof(name_table)];
  static name_table *made = new (room) name_table;
  return *made;
}

// A new reference on the name with that text. The caller holds the table's lock. Then the name cannot be
// freed meanwhile: a name whose count falls to 0 is removed under the exclusive lock.
zu_do_name *find(uint32_t hash, std::string_view text) {
  return zu_do_name_ref(
      table().names.find(hash, [text](const zu_do_name *name) { return name->view() == text; }));
}

zu_do_name *make(uint32_t hash, std::string_view text) {
  auto *name = allocate<zu_do_name>(text.size() + 1);
  if (name == nullptr) return nullptr;
  const size_t colon = text.rfind(':');
  name->count = 1;
  name->hash = hash;
  name->length = static_cast<uint32_t>(text.size());
  name->unqualified = colon == text.npos ? 0 : static_cast<uint32_t>(colon + 1) & 0x7fffffffu;
  name->permanent = 0;
  put_text(reinterpret_cast<char *>(name + 1), text);
  return name;
}

zu_do_name *intern(std::string_view text) {
  constexpr size_t longest_name = 0x7ffffff0u;
  if (text.empty() || text.size() > longest_name) return nullptr;
  if (zu_do_name *known = known_name_of(text)) return known;
  const uint32_t hash = hash_text(text.data(), text.size());
  {
    std::shared_lock reading(table().lock);
    if (zu_do_name *name = find(hash, text)) return name;
  }
  std::unique_lock writing(table().lock);
  if (zu_do_name *name = find(hash, text)) return name;
  zu_do_name *name = make(hash, text);
  if (name == nullptr || table().names.insert(hash, name)) return name;
  release(name);
  return nullptr;
}

void release_last(zu_do_name *name) {
  {
    std::unique_lock writing(table().lock);
    if (name->count.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    table().names.erase(name->hash, name);
  }
  release(name);
}

} // namespace

namespace zuapi {

constinit known_name known_names[3] = {
    {{1, hash_text(ZU_DO_NAME_URI, 4), 4, 0, 1}, ZU_DO_NAME_URI},
    {{1, hash_text(ZU_DO_NAME_COLL_URI, 9), 9, 0, 1}, ZU_DO_NAME_COLL_URI},
    {{1, hash_text(ZU_DO_NAME_PENDING_ATTRS, 14), 14, 0, 1}, ZU_DO_NAME_PENDING_ATTRS}};
static_assert(offsetof(known_name, text) == sizeof(zu_do_name));

} // namespace zuapi

zu_do_name *zu_do_name_new(const char *text) {
  return text == nullptr ? nullptr : zu_do_name_new_l(text, strlen(text));
}

zu_do_name *zu_do_name_new_l(const char *text, size_t length) {
  if (text == nullptr || memchr(text, 0, length) != nullptr) return nullptr;
  return intern(trimmed({text, length}));
}

zu_do_name *zu_do_name_ref(zu_do_name *name) {
  if (name != nullptr && name->permanent == 0) count_up(name->count);
  return name;
}

void zu_do_name_deref(zu_do_name *name) {
  if (name == nullptr || name->permanent != 0) return;
  uint32_t count = name->count.load(std::memory_order_relaxed);
  while (count > 1) {
    if (name->count.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel)) return;
  }
  release_last(name);
}

const char *zu_do_name_get_strname(zu_do_name *name) {
  return name == nullptr ? nullptr : name->text();
}

const char *zu_do_name_get_unqualified(zu_do_name *name) {
  return name == nullptr ? nullptr : name->text() + name->unqualified;
}

int zu_do_name_equals_w_strname(zu_do_name *name, const char *text) {
  return name != nullptr && text != nullptr && strcmp(name->text(), text) == 0 ? 1 : 0;
}
