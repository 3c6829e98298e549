// `tovra lsp`: a language server for template files, over standard input and output.
#include <cerrno>
#include <deque>
#include <memory>
#include <poll.h>
#include <unistd.h>

#include "../command_line.hpp"
#include "../data_file.hpp"
#include "../output.hpp"
#include "../process.hpp"
#include "../tools.hpp"
#include "../value_json.hpp"
#include "frames.hpp"
#include "server.hpp"

namespace tovra {

namespace {

using lsp::frame_kind;

// A render is stopped after this time: the person at the editor waits for it.
constexpr int render_seconds = 10;

process_request explain_node(const std::string &id, const std::string &directories, const std::string &data,
                             const std::vector<std::string> &classes) {
  process_request asked;
  asked.arguments = {"explain",        "--node=" + id,  "--templates=" + directories,
                     "--data=" + data, "--format=json", "--show-tech"};
  for (const std::string &file : classes) asked.arguments.push_back("--classes=" + file);
  for (std::string &each : yang_arguments()) asked.arguments.push_back(std::move(each));
  asked.seconds = render_seconds;
  return asked;
}

void write_message(const lsp::json &message) {
  write_all(STDOUT_FILENO, lsp::framed(message.dump(-1, ' ', false, replace_bad_utf8)));
}

// Reads messages and answers them, one by one on one thread. What may take seconds, a render, runs in another
// process: the stream waits for it and for the next message at the same time.
class stream {
public:
  explicit stream(lsp::server &server) : server_(server) {}

  int serve() {
    while (!server_.ended() && !broken_) {
      if (waiting_.empty() && (at_end_ || !has_input())) {
        server_.rest();
        if (wait_for_render()) {
          server_.resume();
          continue;
        }
        if (at_end_) break;
      }
      // All input that has come is read before a message is answered: a later message may cancel an earlier
      // one.
      if (!at_end_ && (waiting_.empty() || has_input())) read_some();
      if (waiting_.empty()) continue;
      const std::string message = std::move(waiting_.front());
      waiting_.pop_front();
      server_.take(message);
    }
    return server_.exit_status();
  }

private:
  static bool has_input() {
    pollfd input = {STDIN_FILENO, POLLIN, 0};
    return poll(&input, 1, 0) > 0;
  }

  // Waits for input, or for the end of a render that a request needs. True when the render has ended first.
  bool wait_for_render() {
    if (!server_.has_deferred()) return false;
    std::vector<pollfd> all = {{at_end_ ? -1 : STDIN_FILENO, POLLIN, 0}};
    int patience = -1;
    for (const running_process *process : server_.running()) {
      const int left = process->milliseconds_left();
      if (patience < 0 || left < patience) patience = left;
      all.push_back({process->handle(), POLLIN, 0});
    }
    return all.size() == 1 || poll(all.data(), all.size(), patience) <= 0 || all[0].revents == 0;
  }

  void read_some() {
    char part[64 * 1024];
    const ssize_t length = read(STDIN_FILENO, part, sizeof part);
    if (length < 0 && errno == EINTR) return;
    if (length < 0 && errno == EAGAIN) {
      pollfd input = {STDIN_FILENO, POLLIN, 0};
      poll(&input, 1, -1);
      return;
    }
    if (length <= 0) {
      at_end_ = true;
      return;
    }
    reader_.feed({part, static_cast<size_t>(length)});
    for (std::string message;;) {
      switch (reader_.next(message)) {
      case frame_kind::message:
        server_.note_waiting(message);
        waiting_.push_back(std::move(message));
        break;
      case frame_kind::too_long:
        server_.refuse("the message is longer than 64 MiB");
        break;
      case frame_kind::broken:
        say("tovra: the input has no Content-Length where a message begins");
        server_.refuse("no Content-Length where a message begins: the server ends");
        broken_ = true;
        return;
      case frame_kind::none:
        return;
      }
    }
  }

  lsp::server &server_;
  lsp::frame_reader reader_;
  std::deque<std::string> waiting_;
  bool at_end_ = false;
  bool broken_ = false;
};

int run_lsp(const options &asked) {
  if (!start_library()) return failed;
  lsp::server server({asked.templates, asked.data, asked.classes}, write_message, explain_node);
  return stream(server).serve();
}

} // namespace

tool add_lsp(CLI::App &app) {
  const auto asked = std::make_shared<options>();
  command made(app, "lsp", "Serve an editor: findings, definitions, completion while typing");
  made.footer(
      "A language server on standard input and output: an editor starts it. What the editor's settings say\n"
      "of templates and data goes before these options. docs/editors.md tells how editors are set up.");
  add_templates(made, *asked);
  made.add("--data", asked->data, "The data file that templates are compared with and rendered for")
      .type("FILE");
  add_classes(made, asked->classes);
  return {made.get(), [asked] { return run_lsp(*asked); }};
}

} // namespace tovra
