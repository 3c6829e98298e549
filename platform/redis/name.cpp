// Reads the names of servers.
#include <charconv>
#include <set>

#include "redis/open.hpp"
#include "zuapi/base.h"

namespace zu_redis {

namespace {

[[noreturn]] void refuse(const std::string &why) {
  throw store::source_failure{ZU_FAILED, why};
}

int number_in(std::string_view text, const char *what, int most) {
  int read = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), read);
  if (failure != std::errc() || end != text.data() + text.size() || read < 0 || read > most)
    refuse(what + (" '" + std::string(text)) + "' is no number from 0 to " + std::to_string(most));
  return read;
}

// Removes the text before a mark, and the mark, from `text`; returns the text before it.
std::string_view take_until(std::string_view &text, char mark) {
  const std::string_view before = text.substr(0, text.find(mark));
  text.remove_prefix(std::min(text.size(), before.size() + 1));
  return before;
}

// Reads "USER@HOST:PORT/DB".
void read_host(std::string_view text, address &to) {
  std::string_view before = text.substr(0, text.find('/'));
  text.remove_prefix(std::min(text.size(), before.size() + 1));
  if (const size_t at = before.rfind('@'); at != before.npos) {
    to.user = before.substr(0, at);
    before.remove_prefix(at + 1);
  }
  const size_t closed = before.starts_with('[') ? before.find(']') : 0; // of an IPv6 address
  if (closed == before.npos) refuse("the host has no ']'");
  const size_t split = std::min(before.find(':', closed), before.size());
  if (closed != 0 && split != closed + 1) refuse("there is something else than a port behind ']'");
  to.host = closed == 0 ? before.substr(0, split) : before.substr(1, closed - 1);
  if (to.host.empty()) refuse("it names no host");
  if (split < before.size()) to.port = number_in(before.substr(split + 1), "port", 65535);
  if (!text.empty()) to.database = number_in(text, "DB", 1 << 20);
}

void read_option(std::string_view name, std::string_view given, place &made) {
  constexpr int longest = 3600000;
  if (name == "prefix") {
    made.prefix = given;
  } else if (name == "device") {
    made.device = given;
  } else if (name == "db" && !made.at.socket.empty()) {
    made.at.database = number_in(given, "db", 1 << 20);
  } else if (name == "user" && !made.at.socket.empty()) {
    made.at.user = given;
  } else if (name == "password-file") {
    made.at.password_file = given;
  } else if (name == "timeout") {
    made.at.to_connect = made.at.to_answer = std::chrono::milliseconds(number_in(given, "timeout", longest));
  } else {
    refuse("there is no option '" + std::string(name) + "'");
  }
}

} // namespace

place read_place(std::string_view name) {
  if (name.starts_with(encrypted_scheme))
    refuse("TLS is not supported: the name of a server begins with redis://");
  place made;
  std::string_view rest = name;
  const bool socket = name.starts_with(socket_scheme);
  rest.remove_prefix(std::min(rest.size(), (socket ? socket_scheme : host_scheme).size()));
  const std::string_view server = take_until(rest, '?');
  const size_t user = socket ? server.npos : server.rfind('@');
  if (user != server.npos && server.substr(0, user).find(':') != server.npos)
    refuse("a password stands in a file or in the environment, not in a name");
  if (socket) {
    made.at.socket = server;
    if (server.empty()) refuse("it names no socket");
  } else {
    read_host(server, made.at);
  }
  if (rest.ends_with('&')) refuse("there is no option ''"); // it may be the end of a name
  std::set<std::string_view> given;
  while (!rest.empty()) {
    std::string_view value = take_until(rest, '&');
    const std::string_view option = take_until(value, '=');
    if (!given.insert(option).second) refuse("the option '" + std::string(option) + "' is given twice");
    read_option(option, value, made);
  }
  check_name(made.prefix, "prefix");
  return made;
}

std::string without_password(std::string_view name) {
  std::string shown(name);
  if (!is_place(name)) return shown;
  const size_t options = std::min(shown.find('?'), shown.size());
  const size_t user = shown.rfind('@', options);
  if (const size_t colon = shown.find(':', host_scheme.size()); user != shown.npos && colon < user)
    shown.replace(colon, user - colon, ":***");
  constexpr std::string_view given = "password=";
  for (size_t at = shown.find(given); at != shown.npos; at = shown.find(given, at + 1)) {
    const size_t start = at + given.size();
    shown.replace(start, std::min(shown.find('&', start), shown.size()) - start, "***");
  }
  return shown;
}

void check_name(std::string_view text, const char *what) {
  if (text.empty() || text.find_first_of("{}&") != text.npos)
    refuse(std::string("a ") + what + " has one character or more, and no '{', '}' or '&'");
}

} // namespace zu_redis
