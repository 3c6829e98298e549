// The records of a source, read when a request needs them.
//
// A request is answered from a snapshot of the records that it may need, by the same code that answers from
// the snapshot of a whole file. So all sources give the same answers.
#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "store/snapshot.hpp"
#include "store/source.hpp"

namespace store {

class on_demand {
public:
  on_demand(std::unique_ptr<source> from, std::string name)
      : from_(std::move(from)), name_(std::move(name)) {}

  enum class need : char {
    one_record, // the record with exactly that URI
    instances,  // the instances of that URI; those that the query does not match may be missing
    whole_path  // all records of the path of the instances
  };
  // A snapshot with all records that a request for the URI may need; it lives as long as this object. Throws
  // source_failure or std::bad_alloc, as all functions do; the message of a failure is kept. Any thread.
  const snapshot &part_for(zu_do_uri *uri, need what, zu_do_nvlist *query);
  // Reads all records, and calls `tell` with every path.
  void each_path(const std::function<void(const path_entry &)> &tell);
  // The message of the last failure; empty before the first.
  std::string fault();
  bool may_move() const { return from_->may_move(); }
  bool moved(); // a call has failed because others changed the device

private:
  selection select(zu_do_uri *uri, need what, zu_do_nvlist *query);
  selection select_collection(zu_do_uri *uri, need what, zu_do_nvlist *query);
  const snapshot &read(selection wanted);
  // Runs a step that reads, and keeps the message of its failure.
  template <class Step>
  decltype(auto) noting(Step &&step);

  std::mutex one_at_a_time_;
  std::unique_ptr<source> from_;
  std::string name_;
  std::map<std::string, std::unique_ptr<snapshot>> parts_;
  std::map<std::string, uint32_t> small_parts_; // of a path
  std::string fault_;
  bool exhausted_ = false; // a failure was that memory is exhausted: then there is no message
  bool moved_ = false;
};

} // namespace store
