// The files of a workspace. The text of an open document comes from the editor, which has changes that are
// not saved; the texts of other files come from the disk.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "../check/templates.hpp"
#include "text.hpp"

namespace tovra::lsp {

// The path by which a file is known, whichever links lead to its folder. A link to a file is a file of its
// own, as the loader sees it.
std::string plain_path(const std::string &path);

// The path of a "file:" URI; nullopt for other URIs.
std::optional<std::string> path_of_uri(const std::string &uri);
std::string uri_of_path(const std::string &path);

// Shows that a file has changed without reading it. A file that does not exist has the default stamp.
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
  uint64_t revision; // the value of the counter for all documents at its last change
};

class files : public check::text_source {
public:
  void open(const std::string &path, document opened);
  void close(const std::string &path);
  // Null when it is not open. After changing its text, call changed().
  document *find(const std::string &path);
  void changed(document &of) { of.revision = ++revision_; }
  const std::map<std::string, document> &documents() const { return documents_; }

  // The URI of a file; for an open document, as the client writes it.
  std::string uri_of(const std::string &path) const;
  // The text of a file, open or not; empty when it cannot be read.
  std::shared_ptr<const text> text_of(const std::string &path) const;
  // The versions of all files that a check of these directories reads. While it is the same, nothing has to
  // be checked again.
  using state = std::map<std::string, std::pair<uint64_t, file_stamp>>;
  state state_of(const std::string &directories) const;

  std::set<std::string> names_in(const std::string &directory, std::error_code &failure) const override;
  int read(const std::string &file, std::string &text) const override;

private:
  // A text as it was read from the disk. Every change in the editor leads to a check of all files; those that
  // are not open are only read again when their stamp has changed.
  struct kept {
    file_stamp stamp;
    std::shared_ptr<const text> read;
    int failure;
  };
  const kept &from_disk(const std::string &path) const;

  std::map<std::string, document> documents_; // by path
  uint64_t revision_ = 0;
  mutable std::map<std::string, kept> disk_; // texts of files that are not open
};

} // namespace tovra::lsp
