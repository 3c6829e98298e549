// The CLI context that a host makes for its requests, with its named configurations.
#include <functional>
#include <map>

#include "cli_exec/results.hpp"
#include "infra/memory.hpp"

namespace {

struct data_releaser {
  void operator()(zu_data_ifc *data) const { data->ops->free(data); }
};
using owned_data = std::unique_ptr<zu_data_ifc, data_releaser>;

struct config_registry {
  zu_config_ifc ifc; // first
  std::map<infra::string, owned_data, std::less<>, infra::charged<std::pair<const infra::string, owned_data>>>
      by_name;
};

// The host may replace the interfaces in the public record, so the ones to release are also kept here.
struct host_context {
  zu_cli_context cli; // first
  zu_results::recorder results;
  config_registry configs;
  owned_data data;
};

// One more reference: 0, or the code with which it is refused.
int share(zu_data_ifc *data, owned_data &shared) {
  const int code = data->ops->ref(data);
  if (code == ZU_OK) shared.reset(data);
  return code;
}

int get_config(zu_config_ifc *ifc, const char *name, int, zu_data_ifc **data) {
  *data = nullptr;
  const auto &configs = reinterpret_cast<config_registry *>(ifc)->by_name;
  const auto found = configs.find(name != nullptr ? name : "");
  if (name == nullptr || found == configs.end()) return ZU_NOT_FOUND;
  owned_data shared;
  const int code = share(found->second.get(), shared);
  *data = shared.release();
  return code;
}

constexpr zu_config_ifc_ops registry_ops = {nullptr, get_config};

} // namespace

zu_cli_context *zu_cli_context_new(zu_data_ifc *data, zu_cli_on_error_fn on_error, void *error_context) {
  owned_data shared;
  if (data != nullptr && share(data, shared) != ZU_OK) return nullptr;
  void *block = qmalloc_named(ZU_DO_AREA, sizeof(host_context));
  if (block == nullptr) return nullptr;
  auto *host = new (block) host_context{{}, {}, {{&registry_ops}, {}}, std::move(shared)};
  zu_results::init(host->results, on_error, error_context);
  host->cli.config_ifc = &host->configs.ifc;
  host->cli.result_ifc = &host->results.ifc;
  host->cli.data_ifc = data;
  return &host->cli;
}

int zu_cli_context_add_config(zu_cli_context *cli, const char *name, zu_data_ifc *data) {
  if (cli == nullptr || name == nullptr || data == nullptr) return ZU_FAILED;
  owned_data shared;
  if (const int code = share(data, shared)) return code;
  try {
    reinterpret_cast<host_context *>(cli)->configs.by_name.insert_or_assign(name, std::move(shared));
    return ZU_OK;
  } catch (const std::bad_alloc &) {
    return ZU_EXHAUSTED;
  }
}

void zu_cli_context_free(zu_cli_context *cli) {
  if (cli == nullptr) return;
  auto *host = reinterpret_cast<host_context *>(cli);
  zu_results::close(host->results);
  host->~host_context();
  qfree_named(host);
}
