// Reports a line to the observer: written, or withheld and why.
#include "observe_line.hpp"

#include <cstring>

namespace tvr {
namespace {

bool is_password(zu_do_value *value) noexcept {
  const char *type = value != nullptr ? zu_do_value_get_typedef_name(value) : nullptr;
  return type != nullptr && std::strcmp(type, "PasswordString") == 0;
}

// The record's own URI if it has one: the template may have named the URI of its collection.
const char *uri_of(const read_memory &read) noexcept {
  const char *own = own_uri_text(read.record);
  return own != nullptr ? own : read.uri;
}

zu_tvr_observed_value observed_value(const print_job &job, const planned_property &property,
                                     const read_memory &read) noexcept {
  zu_do_value *value = zu_do_properties_get_value_n(read.record, property.name);
  const int32_t element =
      property.item != nullptr ? job.memory->slots.get()[property.index].line_element : -1;
  return {.property = zu_do_name_get_strname(property.name),
          .record = uri_of(read),
          .value = value,
          .index = property.index,
          .element = element,
          .in_format = property.item != nullptr,
          .is_default = value != nullptr && zu_do_value_is_default(value),
          .is_password = is_password(value)};
}

// Reports the event with the values of the line, or without them when memory is exhausted.
void observe_values(const print_job &job, zu_tvr_event event) noexcept {
  const zu_tvr_line_plan &plan = *job.plan;
  const auto values = make_zeroed_array<zu_tvr_observed_value>(plan.property_count);
  if (values != nullptr && job.memory != nullptr) {
    for (uint32_t at = 0; at < plan.read_count; ++at) {
      const planned_read &read = plan.reads.get()[at];
      for (uint32_t i = 0; i < read.count; ++i) {
        values.get()[event.value_count++] =
            observed_value(job, read.properties[i], job.memory->reads.get()[at]);
      }
    }
  }
  event.values = values.get();
  observe(job.ctx, event);
}

} // namespace

void observe_line(const print_job &job, const char *line) noexcept {
  zu_tvr_event event = event_of(ZU_TVR_EVENT_LINE);
  event.text = line;
  observe_values(job, event);
}

void observe_false_condition(const print_job &job) noexcept {
  zu_tvr_event event = event_of(ZU_TVR_EVENT_WITHHELD);
  event.reason = ZU_TVR_WITHHELD_CONDITION;
  observe_values(job, event);
}

error_at place_of(const print_job &job, uint32_t slot) noexcept {
  for (uint32_t at = 0; at < job.plan->read_count; ++at) {
    const planned_read &read = job.plan->reads.get()[at];
    for (uint32_t i = 0; i < read.count; ++i) {
      const planned_property &property = read.properties[i];
      if (property.item == nullptr || property.index != static_cast<int32_t>(slot)) continue;
      return {uri_of(job.memory->reads.get()[at]), zu_do_name_get_strname(property.name)};
    }
  }
  return {};
}

} // namespace tvr
