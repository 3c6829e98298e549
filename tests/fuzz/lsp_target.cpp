// The language server. An input that begins with '{' is a session, a message a line, with URI for a document
// that is open; another one is that document's text, of which everything is asked, before and after a change
// of it.
#include <filesystem>
#include <fstream>

#include "fuzz.hpp"
#include "tools/tovra/fmt/nodes.hpp"
#include "tools/tovra/lsp/frames.hpp"
#include "tools/tovra/lsp/server.hpp"

namespace {

namespace fs = std::filesystem;
using tovra::lsp::frame_kind;
using tovra::lsp::json;

struct scratch_folder {
  scratch_folder() : path(fs::temp_directory_path() / ("tovra-lsp-fuzz-" + std::to_string(getpid()))) {
    fs::create_directories(path / "t");
    std::ofstream(path / "data.json") << R"({"records": {"/sys": {"host": "e", "up": true},
      "/sys/ifc;name=e1": {"mtu": 9000}, "/sys/ifc;name=e1/addr;ip=1": {"mask": 24}}})";
    std::ofstream(path / "t/config.tvr") << "Cmd: config\nOp: no_op\n";
  }
  ~scratch_folder() { fs::remove_all(path); }
  std::string uri() const { return tovra::lsp::uri_of_path((path / "t/a.tvr").string()); }

  fs::path path;
};

// A server and what it said since it was asked last.
class client {
public:
  explicit client(const scratch_folder &scratch)
      : uri_(scratch.uri()), server_({(scratch.path / "t").string(), (scratch.path / "data.json").string()},
                                     [this](const json &message) { said_.push_back(message); }, {}) {
    ask("initialize", {{"rootUri", tovra::lsp::uri_of_path(scratch.path.string())}});
  }

  const std::vector<json> &take(const std::string &message) {
    said_.clear();
    server_.note_waiting(message);
    server_.take(message);
    const auto answers =
        std::count_if(said_.begin(), said_.end(), [](const json &one) { return one.contains("id"); });
    fuzz::check(answers <= 1, "a message has one answer", message);
    server_.rest();
    for (const json &one : said_) (void)one.dump(-1, ' ', false, json::error_handler_t::replace);
    return said_;
  }
  json ask(const char *method, json params) {
    const json message = {{"id", 1}, {"method", method}, {"params", std::move(params)}};
    for (const json &one : take(message.dump(-1, ' ', false, json::error_handler_t::replace))) {
      if (one.contains("result")) return one["result"];
    }
    return nullptr;
  }
  void tell(const char *method, json params) {
    const json message = {{"method", method}, {"params", std::move(params)}};
    for (const json &one : take(message.dump(-1, ' ', false, json::error_handler_t::replace))) {
      if (one["method"] == "textDocument/publishDiagnostics" && one["params"]["uri"] == uri_) {
        findings = one["params"]["diagnostics"].dump(1, ' ', false, json::error_handler_t::replace);
      }
    }
  }
  void open(const std::string &text) {
    tell("textDocument/didOpen", {{"textDocument", {{"uri", uri_}, {"version", 1}, {"text", text}}}});
  }

  std::string findings;

private:
  const std::string uri_;
  tovra::lsp::server server_;
  std::vector<json> said_;
};

// The messages of a stream that comes in pieces of that size.
std::string frames_of(std::string_view bytes, size_t piece) {
  tovra::lsp::frame_reader reader;
  std::string all, message;
  while (!bytes.empty()) {
    reader.feed(bytes.substr(0, piece));
    bytes.remove_prefix(std::min(piece, bytes.size()));
    for (frame_kind kind; (kind = reader.next(message)) != frame_kind::none;) {
      all += kind == frame_kind::message ? message + "\n" : kind == frame_kind::broken ? "broken" : "long";
      if (kind == frame_kind::broken) return all;
    }
  }
  return all;
}

void play(const scratch_folder &scratch, const std::string &session) {
  client client(scratch);
  client.open("Cmd: a\nParent Cmd: config\nOp: get_one\nUri: /sys\n");
  size_t begin = 0;
  while (begin < session.size()) {
    const size_t end = std::min(session.find('\n', begin), session.size());
    std::string message = session.substr(begin, end - begin);
    if (const size_t at = message.find("\"URI\""); at != message.npos) {
      message.replace(at, 5, "\"" + scratch.uri() + "\"");
    }
    client.take(message);
    begin = end + 1;
  }
}

// As JSON hands texts over: bytes that are no UTF-8 are replaced.
std::string sent(const std::string &text) {
  return json::parse(json(text).dump(-1, ' ', false, json::error_handler_t::replace)).get<std::string>();
}

void ask_all(const scratch_folder &scratch, const std::string &given) {
  const json document = {{"uri", scratch.uri()}};
  tovra::lsp::text text(sent(given));
  client edited(scratch);
  edited.open(text.bytes());
  const std::string &bytes = text.bytes();
  const size_t stride = 1 + bytes.size() / 7;
  for (size_t offset = 0; offset <= bytes.size(); offset += stride) {
    const auto at = text.position_of(offset);
    const size_t there = text.offset_of(at);
    fuzz::check(there == offset || (bytes[offset] & 0xc0) == 0x80 || bytes[offset] == '\n' ||
                    (offset + 1 < bytes.size() && offset > 0 && bytes[offset - 1] == '\r'),
                "a place is where it was", bytes.substr(0, offset));
    const json params = {{"textDocument", document}, {"position", tovra::lsp::as_json(at)}, {"newName", "z"}};
    for (const char *method :
         {"hover", "definition", "references", "completion", "prepareRename", "rename"}) {
      edited.ask((std::string("textDocument/") + method).c_str(), params);
    }
  }
  edited.ask("textDocument/documentSymbol", {{"textDocument", document}});
  edited.ask("workspace/symbol", {{"query", ""}});

  std::string why;
  const auto wanted = tovra::fmt::formatted_alike(bytes, why);
  const json edits = edited.ask("textDocument/formatting", {{"textDocument", document}});
  fuzz::check(edits.is_array() == wanted.has_value(), "what loads is formatted", why);
  if (!wanted) return;
  json changes = json::array();
  for (const json &edit : edits) changes.push_back({{"range", edit["range"]}, {"text", edit["newText"]}});
  edited.tell("textDocument/didChange",
              {{"textDocument", {{"uri", scratch.uri()}, {"version", 1}}}, {"contentChanges", changes}});
  client fresh(scratch);
  fresh.open(*wanted);
  fuzz::same("findings of a changed text, and of the same text", edited.findings, fresh.findings);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size) {
  static const scratch_folder scratch;
  const std::string text(reinterpret_cast<const char *>(bytes), size);
  const fuzz::balanced_memory balanced;
  fuzz::same("messages in pieces", frames_of(text, text.size() + 1), frames_of(text, 3));
  if (text.starts_with('{')) {
    play(scratch, text);
  } else {
    ask_all(scratch, text);
  }
  return 0;
}
