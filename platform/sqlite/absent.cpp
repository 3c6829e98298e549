// In place of the other files where the platform is built without SQLite.
#include "sqlite/devices.hpp"
#include "zuapi/base.h"

namespace zu_sqlite {

[[noreturn]] static void refuse() {
  throw store::source_failure{ZU_FAILED, "this program was built without SQLite"};
}

std::unique_ptr<store::source> open_device(const std::string &, const std::string &) {
  refuse();
}

std::unique_ptr<device_writer> write_device(const std::string &, const std::string &) {
  refuse();
}

} // namespace zu_sqlite
