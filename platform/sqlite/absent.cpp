// Replaces the other files when the platform is built without SQLite.
#include "sqlite/open.hpp"
#include "zuapi/base.h"

std::unique_ptr<store::device_database> zu_sqlite::database_in(std::string) {
  throw store::source_failure{ZU_FAILED, "this program was built without SQLite"};
}
