#include "monitor/feed/Mirror.h"

#include "monitor/feed/Record.h"

namespace Monitor {

bool Mirror::put(const std::string& key, std::string values, Owner owner) {
  auto& entry = *entries_.try_emplace(key).first;
  if (entry.second.owner == owner && entry.second.values == values) {
    return true;  // Said, or about to be.
  }
  const bool taken = entry.second.values.has_value() && entry.second.owner != owner;
  if (!entry.second.values) {
    ++wanted_;
  }
  entry.second.values = std::move(values);
  entry.second.owner = owner;
  enqueue(entry);
  return !taken;
}

void Mirror::remove(const std::string& key, Owner owner) {
  const auto found = entries_.find(key);
  if (found == entries_.end() || found->second.owner != owner || !found->second.values) {
    return;
  }
  found->second.values.reset();
  --wanted_;
  enqueue(*found);
}

void Mirror::enqueue(Entries::value_type& entry) {
  if (!entry.second.queued) {
    entry.second.queued = true;
    queue_.push_back(&entry);
    if (onChange_) {
      onChange_();
    }
  }
}

std::optional<Mirror::Step> Mirror::next() {
  if (queue_.empty()) {
    return std::nullopt;
  }
  auto& [key, entry] = *queue_.front();
  queue_.pop_front();
  entry.queued = false;
  ++entry.underWay;
  return Step{entry.values ? putLine(key, *entry.values) : removeLine(key), key};
}

void Mirror::answered(const std::string& key) {
  const auto found = entries_.find(key);
  if (found == entries_.end()) {
    return;
  }
  Entry& entry = found->second;
  if (entry.underWay > 0) {
    --entry.underWay;
  }
  if (!entry.values && !entry.queued && entry.underWay == 0) {
    entries_.erase(found);
  }
}

void Mirror::enqueueAll() {
  for (auto& entry : entries_) {
    enqueue(entry);
  }
}

void Mirror::sayAll() {
  for (auto& [key, entry] : entries_) {
    entry.underWay = 0;
  }
  enqueueAll();
}

void Mirror::allRemoved() {
  queue_.clear();
  for (auto& [key, entry] : entries_) {
    entry.queued = false;
  }
  std::erase_if(entries_, [](const auto& entry) {
    return !entry.second.values && entry.second.underWay == 0;
  });
  enqueueAll();
}

}  // namespace Monitor
