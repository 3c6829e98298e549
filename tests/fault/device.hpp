// One device and one way to render it, in this process.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "driver.hpp"
#include "store/store.h"
#include "zu_tovra/zu_tovra.h"

namespace fault {

// The options of a run of `tovra render`.
struct asked {
  std::string node;
  std::map<std::string, std::vector<std::string>> given;

  bool has(const char *option) const { return given.contains(option); }
  std::string first(const char *option, const std::string &otherwise = "") const {
    return has(option) ? given.at(option).front() : otherwise;
  }
  std::vector<std::string> all(const char *option) const {
    return has(option) ? given.at(option) : std::vector<std::string>{};
  }
};

struct data_deleter {
  void operator()(zu_data_ifc *data) const { data->ops->free(data); }
};
using data_handle = std::unique_ptr<zu_data_ifc, data_deleter>;

// The parts of a run that are shared by its renders. Objects
// in which a failure may be injected are made for each render.
class device {
public:
  explicit device(const asked &run);
  ~device();
  device(const device &) = delete;
  device &operator=(const device &) = delete;

  bool usable() const { return usable_; } // data and arguments could be read
  // A get-one node below a list was walked: of rows in batches it sees the first only.
  bool read_ahead() const { return read_ahead_; }

  void render(outcome &got);
  void reload(outcome &got);

  // Every failure of memory, of the framework and of the output.
  std::vector<kind> all_kinds();

private:
  bool set_arguments();
  kind call_kind(zu_store_call call, const char *name, int code);
  kind output_kind();

  static bool take_text(zu_tovra_context *context, zu_cli_context *, const char *text);
  static void take_error(void *self, int32_t code, const char *message);
  static void watch(void *self, zu_store_call call, const char *uri, uint64_t flags);

  struct request {
    zu_tovra_context context = {}; // first, so that the library's context leads back here
    device *self = nullptr;
  };

  const asked &run_;
  data_handle default_data_;
  zu_store_wrapper *wrapper_ = nullptr;
  zu_cli_context *cli_ = nullptr;
  zu_do_properties *arguments_ = nullptr;
  request request_;
  bool usable_ = false;
  bool read_ahead_ = false;
  outcome *now_ = nullptr;
  uint64_t pieces_ = 0; // handed out, those refused included
  uint64_t refused_from_ = never;
};

} // namespace fault
