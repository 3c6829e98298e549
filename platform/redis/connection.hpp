// A connection to a Redis server, or to a cluster of them: commands with their answers.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/source.hpp"

struct redisContext;
struct redisReply;

namespace zu_redis {

// The address of a server, and the user.
struct address {
  std::string host; // empty: the socket is used
  int port = 6379;
  std::string socket; // the path of a UNIX socket
  int database = 0;
  std::string user; // empty: the server's default user
  std::string password_file;
  std::chrono::milliseconds to_connect{5000};
  std::chrono::milliseconds to_answer{10000}; // for each answer, and for a part of the commands to be taken
  int until = -1;                             // a descriptor: once it can be read, all waiting ends
};

// An answer, or an element of one, which is borrowed from it.
class value {
public:
  enum class kind : char { text, status, number, none, list, error };

  explicit value(const redisReply *told) : told_(told) {}
  kind of() const;
  bool is(kind one) const { return of() == one; }
  std::string_view text() const; // of a text, a status or an error; else empty
  int64_t number() const;        // of a number, else 0
  size_t size() const;           // how many elements a list has; else 0
  value operator[](size_t i) const;

protected:
  const redisReply *told_;
};

class reply : public value {
public:
  explicit reply(redisReply *told = nullptr) : value(told), own_(told) {}

private:
  struct drop {
    void operator()(redisReply *told) const;
  };
  std::unique_ptr<redisReply, drop> own_;
};

using command = std::vector<std::string>; // its name and what follows

// Used by one thread at a time. All functions throw store::source_failure, whose message says which command
// failed, or std::bad_alloc. After a failure the connection can only be closed, unless the failure was an
// answer of the server.
class connection {
public:
  explicit connection(address to);
  ~connection();
  connection(const connection &) = delete;
  connection &operator=(const connection &) = delete;

  // The answer; an error is thrown.
  reply ask(const command &asked);
  // The answers, in the order of the commands, which are sent all at once: one
  // round trip. Errors of the server are returned like other answers. A command
  // whose keys are on another node of the cluster is sent to that node.
  std::vector<reply> ask_all(const std::vector<command> &asked);

  // Sets how long an answer may take, for commands that wait themselves (XREADGROUP with BLOCK).
  void set_time_to_answer(std::chrono::milliseconds most) { to_.to_answer = most; }
  // The address of the node that answered last.
  const address &at() const { return to_; }

  // For messages that come without a command, after SUBSCRIBE: the descriptor to wait for, and the next
  // message that has come.
  int file() const;
  std::optional<reply> arrived();

private:
  void open();
  // Sends the commands with the numbers `which` at once, and
  // stores their answers under the same numbers in `told`.
  void exchange(const std::vector<command> &asked, const std::vector<size_t> &which, bool asking,
                std::vector<reply> &told);
  static void append(const command &asked, std::string &text);
  // `rest`: the text that has not been sent yet.
  reply receive(const command &asked, std::string_view &rest);
  redisReply *parse(const command &asked); // null: the answer is not complete yet
  // Sends as much as the server takes at once; false: it took nothing.
  bool send_part(const command &asked, std::string_view &rest);
  size_t read_part(const command &asked);
  [[noreturn]] void fail(const command &asked, const std::string &why);

  struct drop {
    void operator()(redisContext *context) const;
  };
  address to_;
  std::string password_;
  std::unique_ptr<redisContext, drop> context_; // null: closed, for the reason that was thrown
  std::string lost_;
  bool too_long_ = false; // a list of the answer that is being read
};

// A command as messages show it: its name and its key.
std::string shown(const command &asked);
// Throws an answer that is an error, or of another kind.
void expect(const command &asked, const value &told, value::kind wanted);

} // namespace zu_redis
