// The files of the workspace: open documents as the editor has them, the others as the disk has them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "../check/templates.hpp"
#include "text.hpp"

namespace tovra::lsp {

// How a file is named, whichever way leads to its folder. A link to a file is a file of its own, as it is for
// the loader.
std::string plain_path(const std::string &path);

// The path of a "file:" URI; none of another.
std::optional<std::string> path_of_uri(const std::string &uri);
std::string uri_of_path(const std::string &path);

// What shows that a file has changed. None of one that is not there.
struct file_stamp {
  int64_t size = -1;
  int64_t written = 0;
  int64_t changed = 0;
  uint64_t number = 0;
  bool operator==(const file_stamp &) const = default;
};
file_stamp stamp_of(const std::string &path);

struct document {
  std::string uri; // as the client wrote it
  std::optional<int64_t> version;
  lsp::text text;
  uint64_t revision; // of all documents, when this one changed last
};

class files : public check::text_source {
public:
  void open(const std::string &path, document opened);
  void close(const std::string &path);
  // None when it is not open. Who changes the text says so.
  document *find(const std::string &path);
  void changed(document &of) { of.revision = ++revision_; }
  const std::map<std::string, document> &documents() const { return documents_; }

  // The URI of an open document as the client writes it.
  std::string uri_of(const std::string &path) const;
  // A file's text, open or not; empty when it cannot be read.
  std::shared_ptr<const text> text_of(const std::string &path) const;
  // What a check of these directories reads: it is the same as long as that is.
  using state = std::map<std::string, std::pair<uint64_t, file_stamp>>;
  state state_of(const std::string &directories) const;

  std::set<std::string> names_in(const std::string &directory, std::error_code &failure) const override;
  int read(const std::string &file, std::string &text) const override;

private:
  struct kept {
    file_stamp stamp;
    std::shared_ptr<const text> read;
    int failure;
  };
  const kept &from_disk(const std::string &path) const;

  std::map<std::string, document> documents_; // by path
  uint64_t revision_ = 0;
  mutable std::map<std::string, kept> disk_; // of files that are not open, held to their stamps
};

} // namespace tovra::lsp
