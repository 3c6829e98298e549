// Loads that report each fault and continue. They run the same code as ordinary loads: a failed step asks
// tell_fault whether the load goes on, and for an ordinary load the answer is always no.
#include "zu_tovra/diagnostics.h"

#include <glib.h>

#include <algorithm>

#include "load.hpp"
#include "zu_tovra/internal/cause.hpp"

namespace tvr::loader {

bool tell_fault(load_context &load, zu_tvr_diagnostic fault) noexcept {
  load.faulty = true;
  if (load.tell == nullptr || load.stopped) return false;
  const error_object error(std::exchange(*load.error, nullptr));
  char words[sizeof last_cause]; // a copy: the callback may load templates too, which sets the thread's cause
  std::copy(std::begin(last_cause), std::end(last_cause), words);
  const char *cause = words[0] != '\0' ? words : nullptr;
  fault.code = error != nullptr   ? zu_do_error_get_code(error.get())
               : cause != nullptr ? ZU_FAILED
                                  : ZU_EXHAUSTED;
  fault.message = error != nullptr ? zu_do_error_get_msg(error.get()) : cause;
  if (fault.message == nullptr) fault.message = "out of memory";
  fault.cause = error != nullptr ? cause : nullptr;
  load.stopped = !load.tell(load.user, &fault);
  forget_cause();
  return !load.stopped;
}

namespace {

// Runs a load with an error object of its own. True: nothing was reported.
template <class Load>
bool observed(zu_tvr_tree *tree, zu_tvr_diagnostic_fn tell, void *user, Load run) noexcept {
  TVR_ASSERT(tree);
  TVR_ASSERT(tell);
  zu_do_error *error = nullptr;
  load_context load{tree, &error, tell, user};
  forget_cause();
  (void)run(load);
  zu_do_error_deref(error);
  return !load.faulty;
}

struct orphan {
  const zu_tvr_node *node;
  const char *parent_id;
};

// The first node of an entry of the tree's orphans; the others that wait follow as its siblings.
const zu_tvr_node *first_waiting(void *entry) noexcept {
  return *static_cast<zu_tvr_node *const *>(entry);
}

size_t count_orphans(GHashTable *table) noexcept {
  size_t count = 0;
  GHashTableIter at;
  void *entry = nullptr;
  g_hash_table_iter_init(&at, table);
  while (g_hash_table_iter_next(&at, nullptr, &entry)) {
    for (const zu_tvr_node *node = first_waiting(entry); node != nullptr; node = node->next_sibling) ++count;
  }
  return count;
}

void list_orphans(GHashTable *table, orphan *into) noexcept {
  GHashTableIter at;
  void *parent_id = nullptr;
  void *entry = nullptr;
  g_hash_table_iter_init(&at, table);
  while (g_hash_table_iter_next(&at, &parent_id, &entry)) {
    for (const zu_tvr_node *node = first_waiting(entry); node != nullptr; node = node->next_sibling) {
      *into++ = {node, static_cast<const char *>(parent_id)};
    }
  }
}

bool tell_orphan(load_context &load, const orphan &orphan) noexcept {
  char message[256];
  (void)std::snprintf(message, sizeof message, "Unable to find parent for node: %s", orphan.node->id);
  set_error(load.error, ZU_FAILED, message);
  zu_tvr_diagnostic fault{};
  fault.kind = ZU_TVR_FAULT_NO_PARENT;
  fault.file = zu_tvr_node_file(orphan.node);
  fault.line = orphan.node->line;
  fault.node_id = orphan.node->id;
  fault.other_id = orphan.parent_id;
  return tell_fault(load, fault);
}

bool resolve(load_context &load) noexcept {
  if (load.tree->resolve_links(load.tree)) return true;
  GHashTable *table = load.tree->orphans;
  const size_t count = table != nullptr ? count_orphans(table) : 0;
  const auto orphans = make_zeroed_array<orphan>(count);
  if (count == 0 || orphans == nullptr) {
    set_error(load.error, ZU_FAILED, "Unresolved links in tovra tree");
    return tell_fault(load, {});
  }
  list_orphans(table, orphans.get());
  std::sort(orphans.get(), orphans.get() + count,
            [](const orphan &a, const orphan &b) { return a.node->ordinal < b.node->ordinal; });
  return std::all_of(orphans.get(), orphans.get() + count,
                     [&load](const orphan &orphan) { return tell_orphan(load, orphan); });
}

} // namespace

} // namespace tvr::loader

bool zu_tvr_load_directory_observed(zu_tvr_tree *tree, const char *directories, zu_tvr_diagnostic_fn tell,
                                    void *user) noexcept {
  using namespace tvr::loader;
  return observed(tree, tell, user,
                  [directories](load_context &load) { return load_list(load, directories); });
}

bool zu_tvr_load_text_observed(zu_tvr_tree *tree, const char *file, const char *text,
                               zu_tvr_diagnostic_fn tell, void *user) noexcept {
  using namespace tvr::loader;
  TVR_ASSERT(text);
  return observed(tree, tell, user, [=](load_context &load) { return parse_text(load, file, text); });
}

bool zu_tvr_resolve_links_observed(zu_tvr_tree *tree, zu_tvr_diagnostic_fn tell, void *user) noexcept {
  return tvr::loader::observed(tree, tell, user, tvr::loader::resolve);
}

bool zu_tvr_check_templates(const char *directories, zu_tvr_diagnostic_fn tell, void *user) noexcept {
  using namespace tvr::loader;
  const tvr::unique<zu_tvr_tree, zu_tvr_tree_delete> tree(zu_tvr_tree_new());
  if (tree == nullptr) {
    zu_do_error *error = nullptr;
    load_context load{nullptr, &error, tell, user};
    set_error(&error, ZU_EXHAUSTED, "Failed to allocate tovra tree");
    (void)tell_fault(load, {});
    return false;
  }
  return observed(tree.get(), tell, user, [directories](load_context &load) {
    return load_list(load, directories) && resolve(load);
  });
}
