// Iterating a collection node: pushes the next instance, or the next group of instances, on the caches of the
// walk. They come from the batch that execute read, or from the records that wait since an earlier request.
#include "coll_node.hpp"
#include "failed.hpp"

namespace tvr {

namespace {

// One call of iterate.
struct pass {
  zu_tvr_coll_data *data;
  zu_tvr_coll_scratch_data *scratch;
  zu_tvr_walk_ctx *ctx;
  group_key key = {};
  bool append = false; // this call has opened a group, so that records are appended to it
};

const char *uri_text(const pass &step) noexcept {
  return zu_do_uri_get_uri_str(step.scratch->coll_uri);
}

void trace_instance(zu_do_properties *record) noexcept {
  const string_buffer buffer(zu_do_strbuf_new());
  if (!buffer || zu_do_properties_to_strbuf(record, 0, buffer.get()) != 0) return;
  TVR_DEBUG("coll node: pushing 1 instance to cache: %s", zu_do_strbuf_to_string(buffer.get()));
}

int32_t coll_push_one_instance(const pass &step, zu_do_properties *record) noexcept {
  if (tracing(7)) trace_instance(record);
  const uint32_t pushed = zu_tvr_push_props_to_cache(step.ctx, record, step.data->location, 0);
  if (pushed < 1) return ZU_TVR_STEP_FAILED;
  step.scratch->props_pushed = static_cast<int32_t>(pushed);
  return ZU_TVR_STEP_WALK;
}

bool key_changes(const pass &step, zu_do_properties *record) noexcept {
  if (step.key.empty() || step.key.matches(record)) return false;
  TVR_DEBUG("coll node: key change detected, ending group here");
  return true;
}

bool start_key(pass &step, zu_do_properties *record) noexcept {
  if (!step.key.empty() || step.key.start(step.data->orderby, record)) return true;
  report(step.ctx, ZU_FAILED, "Failed to get key values from props");
  return false;
}

bool push_into_group(pass &step, zu_do_properties *record) noexcept {
  TVR_DEBUG("coll node: pushing group of instances to cache (uri=%s, append=%d)", uri_text(step),
            step.append ? 1 : 0);
  if (!zu_tvr_push_props_group_to_cache(step.ctx, record, step.append ? 1 : 0)) {
    TVR_ERROR("Failed to process grouped props");
    return false;
  }
  step.scratch->groups_pushed = 1;
  step.append = true;
  return true;
}

// ---- From the cache ----

// Takes the head record out of the queue and gives it this collection's URI. Null on failure (reported).
ref<zu_do_properties> take_cached(const pass &step, cursor_cache_entry *entry) noexcept {
  auto record = cursor_cache_take(step.ctx, entry);
  const int code = zu_do_properties_set_coll_uri(record.get(), ZU_DO_NAME_COLL_URI, step.scratch->coll_uri);
  if (code == 0) return record;
  TVR_ERROR("Failed to add URI to props (rc=%d)", code);
  report(step.ctx, code, "Failed to add URI to props");
  return {};
}

// Removes the entry when its last record has been taken. True when the entry is gone.
bool remove_emptied(const pass &step, cursor_cache_entry *entry) noexcept {
  TVR_DEBUG("Removing %s from cache", uri_text(step));
  if (cursor_cache_peek(entry) != nullptr) return false;
  TVR_DEBUG("No more item in props_list");
  return cursor_cache_remove(step.scratch, step.ctx, entry);
}

int32_t iterate_cached(pass &step, cursor_cache_entry *entry) noexcept {
  TVR_DEBUG("coll node iterate from cache");
  TVR_DEBUG("found in cursor hash %s %p %p", uri_text(step), static_cast<void *>(entry),
            static_cast<void *>(entry->props_list));
  bool gone = entry->props_list == nullptr;
  while (!gone) {
    zu_do_properties *head = cursor_cache_peek(entry);
    if (head == nullptr) {
      TVR_ERROR("retrieved NULL props item from queue");
      return ZU_TVR_STEP_FAILED;
    }
    if (step.data->group != 0 && key_changes(step, head)) return ZU_TVR_STEP_WALK;
    const auto record = take_cached(step, entry);
    gone = remove_emptied(step, entry);
    if (!record) return ZU_TVR_STEP_FAILED;
    if (step.data->group == 0) return coll_push_one_instance(step, record.get());
    if (!start_key(step, record.get()) || !push_into_group(step, record.get())) return ZU_TVR_STEP_FAILED;
  }
  TVR_DEBUG("No instance found in cache.Terminate walk");
  return step.append ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_NOTHING;
}

// ---- From the batch ----

// Makes the iterator over the batch: ZU_TVR_STEP_WALK, or the result of iterate when there is nothing to read
// or on failure.
int32_t start_batch(const pass &step) noexcept {
  zu_tvr_coll_scratch_data *scratch = step.scratch;
  TVR_DEBUG("coll node: starting to iterate through the results (%d)",
            static_cast<int>(zu_do_vtable_get_len(scratch->vtable)));
  if (scratch->vtable == nullptr) return ZU_TVR_STEP_NOTHING; // all records came from the cache
  scratch->iter = zu_do_iter_new();
  if (scratch->iter == nullptr) return failed_step(step.ctx, ZU_EXHAUSTED, "Failed to allocate iterator");
  zu_do_vtable_iter(scratch->vtable, scratch->iter);
  return ZU_TVR_STEP_WALK;
}

int32_t iterate_batch(pass &step) noexcept {
  const int32_t started = step.scratch->iter == nullptr ? start_batch(step) : ZU_TVR_STEP_WALK;
  if (started != ZU_TVR_STEP_WALK) return started;
  zu_do_vtable *batch = step.scratch->vtable;
  zu_do_iter *it = step.scratch->iter;
  for (int row_number = 0; zu_do_vtable_has_next(batch, it); ++row_number) {
    TVR_DEBUG("coll node iterate row %d", row_number);
    zu_do_vtable_row *row = zu_do_vtable_get_next(batch, it);
    auto record = coll_record_from_row(step.scratch, zu_do_vtable_row_get_vlist(batch, row));
    const route where = record ? coll_route(step.scratch, step.ctx, record.get()) : route::no_record;
    if (where == route::no_record) return failed_step(step.ctx, ZU_FAILED, "Failed to get props from vlist");
    if (where == route::refused) return ZU_TVR_STEP_FAILED;
    if (where == route::queued) continue;
    if (step.data->group == 0) {
      const int32_t pushed = coll_push_one_instance(step, record.get());
      step.scratch->last = record.release();
      return pushed;
    }
    if (key_changes(step, record.get())) {
      zu_do_vtable_iter_reset(batch, row, it); // the next call starts its group with this row
      return ZU_TVR_STEP_WALK;
    }
    if (!start_key(step, record.get()) || !push_into_group(step, record.get())) return ZU_TVR_STEP_FAILED;
  }
  return step.append ? ZU_TVR_STEP_WALK : ZU_TVR_STEP_NOTHING;
}

} // namespace

int32_t coll_node_iterate(zu_tvr_coll_data *data, zu_tvr_coll_scratch_data *scratch,
                          zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(data);
  TVR_ASSERT(scratch);
  TVR_ASSERT(ctx);
  pass step = {data, scratch, ctx};
  TVR_DEBUG("coll node iterate %s", uri_text(step));
  cursor_cache_entry *cached = cursor_cache_find(scratch, ctx);
  return cached != nullptr ? iterate_cached(step, cached) : iterate_batch(step);
}

void coll_node_pop(zu_tvr_coll_scratch_data *scratch, zu_tvr_walk_ctx *ctx) noexcept {
  TVR_ASSERT(scratch);
  TVR_ASSERT(ctx);
  if (scratch->props_pushed > 0) {
    TVR_DEBUG("coll node: popping %d items from props from cache", scratch->props_pushed);
    for (; scratch->props_pushed > 0; --scratch->props_pushed) zu_tvr_pop_props_from_cache(ctx);
  }
  if (scratch->groups_pushed > 0) {
    TVR_DEBUG("coll node: popping %d items from prop groups from cache", scratch->groups_pushed);
    for (; scratch->groups_pushed > 0; --scratch->groups_pushed) zu_tvr_pop_props_group_from_cache(ctx);
  }
}

} // namespace tvr
