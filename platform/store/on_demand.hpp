// The records of a source, read when a request needs them.
//
// A request is answered from a snapshot of those records that it could be about, by the same code that
// answers from the snapshot of a whole file: so all sources give the same answers.
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
    one_record, // of exactly that URI
    instances,  // of that URI; those may be left out that the query does not fit
    whole_path  // with all records beside the instances
  };
  // A snapshot with all records that a request for the URI can be answered with, which lives as long as this.
  // Throws source_failure or std::bad_alloc, as all functions do; the words of a failure are kept. Any
  // thread.
  const snapshot &part_for(zu_do_uri *uri, need what, zu_do_nvlist *query);
  // Tells every path, all its records read.
  void each_path(const std::function<void(const path_entry &)> &tell);
  // The words of the last failure; empty before the first.
  std::string fault();
  bool may_move() const { return from_->may_move(); }
  bool moved(); // a failure was that others changed the device

private:
  selection select(zu_do_uri *uri, need what, zu_do_nvlist *query);
  selection select_collection(zu_do_uri *uri, need what, zu_do_nvlist *query);
  const snapshot &read(selection wanted);
  // Takes a step that reads, and notes its failure.
  template <class Step>
  decltype(auto) noting(Step &&step);

  std::mutex one_at_a_time_;
  std::unique_ptr<source> from_;
  std::string name_;
  std::map<std::string, std::unique_ptr<snapshot>> parts_;
  std::map<std::string, uint32_t> small_parts_; // of a path
  std::string fault_;
  bool exhausted_ = false; // memory, at a failure: without words, which take some
  bool moved_ = false;
};

} // namespace store
