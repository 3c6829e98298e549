// The one template tree of the process: building it from the templates, and dropping it.
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

error_object tovra_tree_build() noexcept {
  g_tovra_tree = zu_tvr_tree_new();
  if (g_tovra_tree == nullptr) {
    TVR_ERROR("Failed to allocate tovra tree");
    return error_object(zu_do_error_new(ZU_EXHAUSTED, "Failed to allocate tovra tree"));
  }
  zu_do_error *error = nullptr;
  const bool loaded = zu_tvr_load_directory(g_tovra_tree, nullptr, &error);
  if (error != nullptr) return error_object(error);
  // A load that ends without an error object counts as done: what it gathered is all there is to walk.
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
