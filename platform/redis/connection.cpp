// A connection to a Redis server. The library connects and knows the protocol. Sending and receiving is done
// here, because the library has no limit for the time of an answer that comes slowly, and raises SIGPIPE when
// a server has closed the connection.
#include "redis/connection.hpp"

#include <fcntl.h>
#include <hiredis/hiredis.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <numeric>
#include <system_error>

#include "zuapi/base.h"

namespace zu_redis {

namespace {

using clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr size_t part = size_t{64} << 10;
constexpr size_t most_of_an_answer = size_t{1} << 30;
constexpr size_t most_of_a_message = size_t{1} << 20;
constexpr int most_elements =
    1 << 20; // of a list: the library allocates all elements as soon as it has read their number
constexpr int most_redirections = 5;
constexpr const char *password_variable = "ZU_TVR_REDIS_PASSWORD";

[[noreturn]] void refuse(int code, std::string message) {
  throw store::source_failure{code, std::move(message)};
}

std::string read_password(const address &to) {
  std::string password;
  if (!to.password_file.empty()) {
    std::ifstream file(to.password_file);
    if (!std::getline(file, password) || password.empty())
      refuse(ZU_CANNOT_OPEN, "password-file " + to.password_file + ": no password can be read from it");
  } else if (const char *given = std::getenv(password_variable)) {
    password = given;
  }
  if (password.empty() && !to.user.empty())
    refuse(ZU_FAILED, std::string("the user has no password: give a password-file, or ") + password_variable);
  return password;
}

// The library's functions for storing answers, except that a list which is too long is not stored.
redisReplyObjectFunctions *bounded(const redisReader *reader) {
  static const redisReplyObjectFunctions usual = *reader->fn;
  static redisReplyObjectFunctions made = [] {
    redisReplyObjectFunctions changed = usual;
    changed.createArray = [](const redisReadTask *task, int elements) {
      bool &too_long = *static_cast<bool *>(task->privdata);
      too_long = elements > most_elements;
      return too_long ? nullptr : usual.createArray(task, elements);
    };
    return changed;
  }();
  return &made;
}

timeval as_timeval(milliseconds time) {
  return {time.count() / 1000, time.count() % 1000 * 1000};
}

std::string system_words(int number) {
  return std::generic_category().message(number);
}

// The node of the cluster that has the keys of a command, as reported by another node.
struct redirection {
  bool asking = false; // for this command only
  std::string to;      // "HOST:PORT"; without a host it is the one that answered

  bool operator==(const redirection &) const = default;
};

// Reads "MOVED SLOT HOST:PORT" and "ASK SLOT HOST:PORT".
std::optional<redirection> redirected(const value &told) {
  const std::string_view text = told.text();
  const bool asking = text.starts_with("ASK ");
  if (!told.is(value::kind::error) || (!asking && !text.starts_with("MOVED "))) return std::nullopt;
  return redirection{asking, std::string(text.substr(text.rfind(' ') + 1))};
}

// False: it names no port.
bool follow(const redirection &told, address &to) {
  const size_t split = told.to.rfind(':');
  if (split == std::string::npos) return false;
  const char *end = told.to.data() + told.to.size();
  const auto [stop, failure] = std::from_chars(told.to.data() + split + 1, end, to.port);
  if (split != 0) to.host = told.to.substr(0, split);
  to.socket.clear();
  return failure == std::errc() && stop == end && to.port > 0 && to.port <= 65535 && !to.host.empty();
}

} // namespace

value::kind value::of() const {
  switch (told_->type) {
  case REDIS_REPLY_STRING:
    return kind::text;
  case REDIS_REPLY_STATUS:
    return kind::status;
  case REDIS_REPLY_INTEGER:
    return kind::number;
  case REDIS_REPLY_ARRAY:
    return kind::list;
  case REDIS_REPLY_ERROR:
    return kind::error;
  default:
    return kind::none;
  }
}

std::string_view value::text() const {
  if (is(kind::text) || is(kind::status) || is(kind::error)) return {told_->str, told_->len};
  return {};
}

int64_t value::number() const {
  return is(kind::number) ? told_->integer : 0;
}

size_t value::size() const {
  return is(kind::list) ? told_->elements : 0;
}

value value::operator[](size_t i) const {
  return value(told_->element[i]);
}

void reply::drop::operator()(redisReply *told) const {
  freeReplyObject(told);
}

void connection::drop::operator()(redisContext *context) const {
  redisFree(context);
}

std::string shown(const command &asked) {
  constexpr size_t most = 200;
  // A password must not be shown. In a command with a script, the number of keys comes before the key.
  if (asked.size() < 2 || asked[0] == "AUTH") return asked[0];
  const std::string &key = asked[0] == "EVAL" && asked.size() > 3 ? asked[3] : asked[1];
  return asked[0] + " " + key.substr(0, most);
}

void expect(const command &asked, const value &told, value::kind wanted) {
  if (told.is(wanted)) return;
  std::string_view why = told.is(value::kind::error) ? told.text() : "an answer of another type";
  // What a server has no command for, it repeats: records, and the passwords in them.
  if (why.starts_with("ERR unknown command")) why = why.substr(0, why.find(", with args"));
  refuse(ZU_FAILED, shown(asked) + ": " + std::string(why));
}

connection::connection(address to) : to_(std::move(to)), password_(read_password(to_)) {
  open();
}

connection::~connection() = default;

void connection::fail(const command &asked, const std::string &why) {
  context_.reset();
  lost_ = shown(asked) + ": " + why;
  refuse(ZU_FAILED, lost_);
}

void connection::open() {
  context_.reset();
  const timeval most = as_timeval(to_.to_connect);
  context_.reset(to_.socket.empty() ? redisConnectWithTimeout(to_.host.c_str(), to_.port, most)
                                    : redisConnectUnixWithTimeout(to_.socket.c_str(), most));
  if (context_ == nullptr) throw std::bad_alloc();
  const std::string where = to_.socket.empty() ? to_.host + ":" + std::to_string(to_.port) : to_.socket;
  if (context_->err != 0) {
    lost_ = "connecting to " + where + ": " + context_->errstr;
    context_.reset();
    refuse(ZU_CANNOT_OPEN, lost_);
  }
  const int flags = fcntl(context_->fd, F_GETFL);
  if (flags < 0 || fcntl(context_->fd, F_SETFL, flags | O_NONBLOCK) != 0 ||
      fcntl(context_->fd, F_SETFD, FD_CLOEXEC) != 0)
    fail({"connecting to " + where}, system_words(errno));
  context_->reader->fn = bounded(context_->reader);
  context_->reader->privdata = &too_long_;
  std::vector<command> first;
  if (!password_.empty())
    first.push_back(to_.user.empty() ? command{"AUTH", password_} : command{"AUTH", to_.user, password_});
  if (to_.database != 0) first.push_back({"SELECT", std::to_string(to_.database)});
  std::vector<size_t> all(first.size());
  std::iota(all.begin(), all.end(), 0);
  std::vector<reply> told(first.size());
  exchange(first, all, false, told);
  for (size_t i = 0; i < first.size(); ++i) {
    if (told[i].is(value::kind::status)) continue;
    const bool echoed = !password_.empty() && told[i].text().find(password_) != std::string_view::npos;
    fail(first[i], echoed ? "refused" : std::string(told[i].text()));
  }
}

reply connection::ask(const command &asked) {
  std::vector<reply> told = ask_all({asked});
  if (told[0].is(value::kind::error)) expect(asked, told[0], value::kind::none);
  return std::move(told[0]);
}

std::vector<reply> connection::ask_all(const std::vector<command> &asked) {
  std::vector<reply> told(asked.size());
  std::vector<size_t> left(asked.size());
  std::iota(left.begin(), left.end(), 0);
  exchange(asked, left, false, told);
  for (int in_vain = 0;;) {
    std::erase_if(left, [&](size_t i) { return !redirected(told[i]); });
    if (left.empty()) return told;
    const redirection next = *redirected(told[left[0]]);
    std::vector<size_t> there = left;
    std::erase_if(there, [&](size_t i) { return redirected(told[i]) != next; });
    if (!follow(next, to_)) fail(asked[left[0]], "a garbled answer (" + next.to + ")");
    open();
    exchange(asked, there, next.asking, told);
    const bool none = std::all_of(there.begin(), there.end(), [&](size_t i) { return redirected(told[i]); });
    if (none && ++in_vain == most_redirections)
      fail(asked[there[0]], "each node of the cluster names another one");
  }
}

void connection::exchange(const std::vector<command> &asked, const std::vector<size_t> &which, bool asking,
                          std::vector<reply> &told) {
  static const command before = {"ASKING"};
  std::string text;
  for (const size_t i : which) {
    if (asking) append(before, text);
    append(asked[i], text);
  }
  if (which.empty()) return;
  if (context_ == nullptr) refuse(ZU_FAILED, lost_);
  if (context_->reader->pos < context_->reader->len) fail(asked[which[0]], "an answer came before it");
  std::string_view rest = text;
  send_part(asked[which[0]], rest);
  for (const size_t i : which) {
    if (asking) receive(before, rest);
    told[i] = receive(asked[i], rest);
  }
  if (!rest.empty()) fail(asked[which.back()], "an answer came before it");
}

void connection::append(const command &asked, std::string &text) {
  std::vector<const char *> words;
  std::vector<size_t> lengths;
  for (const std::string &word : asked) {
    words.push_back(word.data());
    lengths.push_back(word.size());
  }
  char *made = nullptr;
  const int length =
      redisFormatCommandArgv(&made, static_cast<int>(words.size()), words.data(), lengths.data());
  if (length < 0) throw std::bad_alloc();
  const std::unique_ptr<char, void (*)(char *)> own(made, redisFreeCommand);
  text.append(made, static_cast<size_t>(length));
}

redisReply *connection::parse(const command &asked) {
  void *told = nullptr;
  redisReader *reader = context_->reader;
  if (redisReaderGetReply(reader, &told) != REDIS_OK) {
    if (too_long_) fail(asked, "a list that is too long");
    if (reader->err == REDIS_ERR_OOM) throw std::bad_alloc();
    fail(asked, std::string("a garbled answer (") + reader->errstr + ")");
  }
  return static_cast<redisReply *>(told);
}

int connection::file() const {
  return context_ != nullptr ? context_->fd : -1;
}

std::optional<reply> connection::arrived() {
  static const command asked = {"SUBSCRIBE"};
  if (context_ == nullptr) refuse(ZU_FAILED, lost_);
  for (;;) {
    if (redisReply *told = parse(asked)) return reply(told);
    if (context_->reader->len - context_->reader->pos > most_of_a_message)
      fail(asked, "an answer that is too long");
    if (read_part(asked) == 0) return std::nullopt;
  }
}

// Reads an answer, and meanwhile continues to send the commands that follow: a server may want its answers
// read before it takes more commands.
reply connection::receive(const command &asked, std::string_view &rest) {
  auto until = clock::now() + to_.to_answer;
  size_t read = 0;
  for (;;) {
    if (redisReply *told = parse(asked)) return reply(told);
    const auto left = std::chrono::ceil<milliseconds>(until - clock::now()).count();
    pollfd both[] = {{context_->fd, static_cast<short>(rest.empty() ? POLLIN : POLLIN | POLLOUT), 0},
                     {to_.until, POLLIN, 0}};
    const pollfd &at = both[0];
    const int most = static_cast<int>(std::min<int64_t>(left, INT_MAX));
    const int ready = left <= 0 ? 0 : poll(both, std::size(both), most);
    if (ready < 0 && errno != EINTR) fail(asked, system_words(errno));
    if (ready == 0) fail(asked, "no answer in " + std::to_string(to_.to_answer.count()) + " ms");
    if (ready < 0) continue;
    if (both[1].revents != 0) fail(asked, "no longer waited for");
    if ((at.revents & POLLOUT) != 0) {
      if (send_part(asked, rest)) until = clock::now() + to_.to_answer;
    }
    if ((at.revents & ~POLLOUT) != 0 && (read += read_part(asked)) > most_of_an_answer)
      fail(asked, "an answer of more than 1 GiB");
  }
}

bool connection::send_part(const command &asked, std::string_view &rest) {
  const ssize_t sent = send(context_->fd, rest.data(), rest.size(), MSG_NOSIGNAL);
  if (sent < 0 && errno != EAGAIN && errno != EINTR) fail(asked, system_words(errno));
  if (sent > 0) rest.remove_prefix(static_cast<size_t>(sent));
  return sent > 0;
}

size_t connection::read_part(const command &asked) {
  char bytes[part];
  const ssize_t length = recv(context_->fd, bytes, sizeof bytes, 0);
  if (length < 0 && (errno == EAGAIN || errno == EINTR)) return 0;
  if (length <= 0) fail(asked, length < 0 ? system_words(errno) : "the server closed the connection");
  if (redisReaderFeed(context_->reader, bytes, static_cast<size_t>(length)) != REDIS_OK)
    throw std::bad_alloc();
  return static_cast<size_t>(length);
}

} // namespace zu_redis
