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

// From the ':' before a password in a name to the '@' behind it; empty when none stands there.
std::string_view password_in(std::string_view name) {
  const size_t scheme = name.find("://");
  if (scheme == name.npos || name.starts_with(socket_scheme)) return {};
  name.remove_prefix(scheme + 3);
  const std::string_view server = name.substr(0, name.find('?'));
  size_t colon = server.find(':');
  size_t at = server.rfind('@');
  if (at == server.npos) { // of a password with a '?' the first part looks like a port
    colon = server.find(':', server.starts_with('[') ? server.find(']') : 0);
    const std::string_view port = server.substr(std::min(colon, server.size() - 1) + 1);
    if (port.substr(0, port.find('/')).find_first_not_of("0123456789") != port.npos) at = name.rfind('@');
  }
  return colon < at && at != name.npos ? name.substr(colon, at - colon) : std::string_view();
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
  if (!password_in(name).empty()) refuse("a password stands in a file or in the environment, not in a name");
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
  if (const std::string_view password = password_in(name); !password.empty())
    shown.replace(static_cast<size_t>(password.data() - name.data()), password.size(), ":***");
  if (!is_place(name)) return shown;
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
