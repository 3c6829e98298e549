// Replaces the other files when the platform is built without Redis.
#include "redis/watch.hpp"
#include "zuapi/base.h"

namespace zu_redis {

namespace {

[[noreturn]] void refuse() {
  throw store::source_failure{ZU_FAILED, "this program was built without Redis"};
}

} // namespace

place read_place(std::string_view) {
  refuse();
}
std::string without_password(std::string_view name) {
  return std::string(name);
}
void check_name(std::string_view, const char *) {}
std::unique_ptr<store::device_database> database_at(place) {
  refuse();
}

std::vector<std::string> members_with(connection &, const std::string &,
                                      const std::function<command(const std::string &)> &) {
  refuse();
}

// No connection can be made, so these are never called.
value::kind value::of() const {
  return kind::none;
}
std::string_view value::text() const {
  return {};
}
int64_t value::number() const {
  return 0;
}
size_t value::size() const {
  return 0;
}
value value::operator[](size_t) const {
  return *this;
}
void reply::drop::operator()(redisReply *) const {}
void connection::drop::operator()(redisContext *) const {}
connection::connection(address) {
  refuse();
}
connection::~connection() = default;
reply connection::ask(const command &) {
  refuse();
}
std::vector<reply> connection::ask_all(const std::vector<command> &) {
  refuse();
}
int connection::file() const {
  return -1;
}
std::optional<reply> connection::arrived() {
  refuse();
}
device_watch::news device_watch::look() {
  refuse();
}
void expect(const command &, const value &, value::kind) {
  refuse();
}
std::string shown(const command &asked) {
  return asked[0];
}

} // namespace zu_redis
