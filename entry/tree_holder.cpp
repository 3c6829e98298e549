// The one template tree of the process: building it from the templates, and deleting it.
#include "tree_holder.hpp"

#include <cerrno>
#include <cstdlib>

#include "zu_tovra/internal/report.hpp"
#include "zu_tovra/loader.h"

namespace tvr {

zu_tvr_tree *g_tovra_tree = nullptr;
pthread_mutex_t g_tovra_tree_lock = PTHREAD_MUTEX_INITIALIZER;
int32_t g_tovra_coll_fetch_count = 0;

namespace {

void read_fetch_count() noexcept {
  const char *text = std::getenv("ZU_TVR_COLL_FETCH_COUNT");
  if (text == nullptr) return;
  errno = 0;
  const long count = std::strtol(text, nullptr, 10);
  if (errno == 0) g_tovra_coll_fetch_count = static_cast<int32_t>(count);
}

} // namespace

bool tovra_tree_lock(error_object *error) noexcept {
  if (pthread_mutex_lock(&g_tovra_tree_lock) == 0) return true;
  TVR_ERROR("Failed to obtain lock on tovra tree");
  error->reset(zu_do_error_new(ZU_EXHAUSTED, "Failed to obtain lock on tovra tree"));
  return false;
}

bool tovra_tree_unlock(error_object *error) noexcept {
  if (pthread_mutex_unlock(&g_tovra_tree_lock) == 0) return true;
  TVR_ERROR("Failed to release lock on tovra tree");
  if (*error == nullptr) {
    error->reset(zu_do_error_new(ZU_EXHAUSTED, "Failed to release lock on tovra tree"));
    tovra_tree_drop();
  }
  return false;
}

error_object tovra_tree_build() noexcept {
  g_tovra_tree = zu_tvr_tree_new();
  if (g_tovra_tree == nullptr) {
    TVR_ERROR("Failed to allocate tovra tree");
    return error_object(zu_do_error_new(ZU_EXHAUSTED, "Failed to allocate tovra tree"));
  }
  zu_do_error *error = nullptr;
  const bool loaded = zu_tvr_load_directory(g_tovra_tree, nullptr, &error);
  if (error != nullptr) return error_object(error);
  // A load that ends without an error object (an empty file, no directory) counts as done: the nodes that it
  // made are rendered, and their links stay unresolved.
  if (!loaded) return {};
  if (!g_tovra_tree->resolve_links(g_tovra_tree)) {
    TVR_ERROR("Unresolved links in tree");
    tovra_tree_drop();
    return error_object(zu_do_error_new(ZU_FAILED, "Unresolved links in tovra tree"));
  }
  read_fetch_count();
  return {};
}

void tovra_tree_drop() noexcept {
  if (g_tovra_tree == nullptr) return;
  zu_tvr_tree_delete(g_tovra_tree);
  g_tovra_tree = nullptr;
}

} // namespace tvr
