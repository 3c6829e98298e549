// The CLI context that a host makes for its requests, with its named configurations.
#include <cstring>

#include "cli_exec/results.hpp"
#include "qmalloc/qmalloc.h"

namespace {

struct config {
  config *next;
  char *name;        // owned
  zu_data_ifc *data; // one reference
};

struct config_registry {
  zu_config_ifc ifc;
  config *first;
};

// The host may put interfaces of its own into the public record, so what is to be released stands here again.
struct host_context {
  zu_cli_context cli;
  zu_results::recorder results;
  config_registry configs;
  zu_data_ifc *data; // one reference, or none
};

config *find_config(config_registry *registry, const char *name) {
  config *found = registry->first;
  while (found != nullptr && std::strcmp(found->name, name) != 0) found = found->next;
  return found;
}

int get_config(zu_config_ifc *ifc, const char *name, int, zu_data_ifc **data) {
  *data = nullptr;
  auto *registry = reinterpret_cast<config_registry *>(ifc);
  config *found = name != nullptr ? find_config(registry, name) : nullptr;
  if (found == nullptr) return ZU_NOT_FOUND;
  const int code = found->data->ops->ref(found->data);
  if (code == ZU_OK) *data = found->data;
  return code;
}

constexpr zu_config_ifc_ops registry_ops = {nullptr, get_config};

config *config_new(const char *name) {
  auto *made = static_cast<config *>(qcalloc_named(ZU_DO_AREA, 1, sizeof(config)));
  if (made == nullptr) return nullptr;
  made->name = qstrdup_named(ZU_DO_AREA, name);
  if (made->name != nullptr) return made;
  qfree_named(made);
  return nullptr;
}

void config_free(config *freed) {
  if (freed->data != nullptr) freed->data->ops->free(freed->data);
  qfree_named(freed->name);
  qfree_named(freed);
}

} // namespace

zu_cli_context *zu_cli_context_new(zu_data_ifc *data, zu_cli_on_error_fn on_error, void *error_context) {
  auto *host = static_cast<host_context *>(qcalloc_named(ZU_DO_AREA, 1, sizeof(host_context)));
  if (host == nullptr) return nullptr;
  if (data != nullptr && data->ops->ref(data) != ZU_OK) {
    qfree_named(host);
    return nullptr;
  }
  zu_results::init(host->results, on_error, error_context);
  host->configs.ifc.ops = &registry_ops;
  host->data = data;
  host->cli.config_ifc = &host->configs.ifc;
  host->cli.result_ifc = &host->results.ifc;
  host->cli.data_ifc = data;
  return &host->cli;
}

int zu_cli_context_add_config(zu_cli_context *cli, const char *name, zu_data_ifc *data) {
  if (cli == nullptr || name == nullptr || data == nullptr) return ZU_FAILED;
  auto *registry = &reinterpret_cast<host_context *>(cli)->configs;
  config *found = find_config(registry, name);
  config *entry = found != nullptr ? found : config_new(name);
  if (entry == nullptr) return ZU_EXHAUSTED;
  if (const int code = data->ops->ref(data); code != ZU_OK) {
    if (found == nullptr) config_free(entry);
    return code;
  }
  zu_data_ifc *replaced = entry->data;
  entry->data = data;
  if (replaced != nullptr) replaced->ops->free(replaced);
  if (found == nullptr) {
    entry->next = registry->first;
    registry->first = entry;
  }
  return ZU_OK;
}

void zu_cli_context_free(zu_cli_context *cli) {
  if (cli == nullptr) return;
  auto *host = reinterpret_cast<host_context *>(cli);
  while (config *freed = host->configs.first) {
    host->configs.first = freed->next;
    config_free(freed);
  }
  zu_results::close(host->results);
  if (host->data != nullptr) host->data->ops->free(host->data);
  qfree_named(host);
}
