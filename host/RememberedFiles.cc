// Each question is put to the device once, and its answer kept.
#include "host/RememberedFiles.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/AccountNames.h"
#include "host/HostConfiguration.h"
#include "host/LinuxHost.h"
#include "host/SystemError.h"

namespace accountsettings {

namespace {

// Whether two answers tell the same; what an error says is not compared, only its code.
template <class Value, class Same>
bool sameAnswer(const Result<Value>& left, const Result<Value>& right, Same same) {
  if (left.ok() != right.ok()) return false;
  return left ? same(*left, *right) : left.error().code == right.error().code;
}

bool sameAttributes(const std::optional<FileAttributes>& left,
                    const std::optional<FileAttributes>& right) {
  if (!left || !right) return left.has_value() == right.has_value();
  return left->kind == right->kind && left->mode == right->mode && left->owner == right->owner &&
         left->group == right->group;
}

Result<std::optional<FileAttributes>> orNone(Result<FileAttributes> attributes) {
  if (attributes) return std::optional(*attributes);
  if (isAbsence(attributes.error())) return std::optional<FileAttributes>();
  return attributes.error();
}

// What `answers` has for `key`, asked for where it has nothing yet.
template <class Answers, class Key, class Ask>
const typename Answers::mapped_type& remembered(Answers& answers, const Key& key, Ask ask) {
  const auto found = answers.find(key);
  return found != answers.end() ? found->second : answers.emplace(key, ask()).first->second;
}

}  // namespace

RememberedFiles::RememberedFiles(LinuxFiles& files, AccountNames& names)
    : files_(files), names_(names) {}

Result<SharedBytes> RememberedFiles::readShared(const std::string& path) {
  return remembered(contents_, path, [&]() -> Result<SharedBytes> {
    const auto entry = entries_.find(path);
    const bool isAbsent = entry != entries_.end() && entry->second && !*entry->second;
    if (isAbsent) return systemError(path, ENOENT);
    const auto expected = expected_.find(path);
    const SharedBytes likely = expected != expected_.end() ? expected->second : nullptr;
    Result<SharedBytes> bytes = Error{};
    if (entry != entries_.end()) {
      bytes = files_.readExpecting(path, likely);
    } else {
      LookedAtFile looked = files_.look(path, likely);
      entries_.emplace(path, orNone(std::move(looked.entry)));
      bytes = std::move(looked.bytes);
    }
    if (!bytes) noteFailure(path, bytes.error());
    return bytes;
  });
}

RememberedFiles::Attributes RememberedFiles::entryAt(const std::string& path) {
  return remembered(entries_, path, [&] {
    Attributes there = orNone(files_.attributes(path));
    if (!there) noteFailure(path, there.error());
    return there;
  });
}

RememberedFiles::Attributes RememberedFiles::targetOf(const std::string& path) {
  // What is no link is what it leads to.
  if (!targets_.contains(path)) {
    const Attributes entry = entryAt(path);
    if (!entry || !*entry || (*entry)->kind != FileAttributes::Kind::Link) return entry;
  }
  return remembered(targets_, path, [&] {
    Attributes there = orNone(files_.attributesOfTarget(path));
    if (!there) noteFailure(path, there.error());
    return there;
  });
}

Presence RememberedFiles::exists(const std::string& path) {
  const Attributes there = targetOf(path);
  return there ? Presence::of(there->has_value()) : Presence(there.error());
}

Presence RememberedFiles::isDirectory(const std::string& path) {
  const Attributes there = targetOf(path);
  if (!there) return there.error();
  return Presence::of(*there && (*there)->kind == FileAttributes::Kind::Directory);
}

Result<FileOwner> RememberedFiles::ownerNamed(std::string_view owner, std::string_view group) {
  const std::pair key(std::string{owner}, std::string{group});
  return remembered(owners_, key, [&] { return numbersOf(names_, key.first, key.second); });
}

void RememberedFiles::noteFailure(const std::string& path, const Error& error) {
  if (isAbsence(error)) return;
  const bool known = std::any_of(failures_.begin(), failures_.end(),
                                 [&](const Failure& each) { return each.path == path; });
  if (!known) failures_.push_back({path, error});
}

void RememberedFiles::accept(const std::string& path) {
  if (const auto entry = entries_.find(path); entry != entries_.end()) {
    entry->second = orNone(files_.attributes(path));
  }
  if (const auto target = targets_.find(path); target != targets_.end()) {
    target->second = orNone(files_.attributesOfTarget(path));
  }
}

void RememberedFiles::expect(const std::string& path, SharedBytes bytes) {
  expected_.insert_or_assign(path, std::move(bytes));
}

void RememberedFiles::assume(const AssumedFile& file) {
  assumed_.insert(file.path);
  entries_.insert_or_assign(file.path, file.entry);
  targets_.insert_or_assign(file.path, file.target);
  contents_.insert_or_assign(
      file.path, file.bytes ? Result<SharedBytes>(file.bytes) : systemError(file.path, ENOENT));
}

Result<FileOwner> RememberedFiles::ownerOfSaves(const LinuxHost& host) {
  const ConfigurationValues& values = host.configuration().values;
  return ownerNamed(values.owner, values.group);
}

Status RememberedFiles::saveCanSucceed(LinuxHost& host, const std::string& path) {
  return remembered(saveChecks_, path,
                    [&] { return host.saveCanSucceed(path, ownerOfSaves(host)); });
}

bool RememberedFiles::isUnchanged(const std::string& path, const Attributes& entry) {
  const auto content = contents_.find(path);
  // Where nothing stands, nothing can be read.
  const bool hasContent = content != contents_.end() && !(entry && !*entry);
  if (!hasContent) return sameAnswer(entry, orNone(files_.attributes(path)), sameAttributes);
  const bool wasRead = entry && (*entry)->kind == FileAttributes::Kind::Regular && content->second;
  const LookedAtFile now = wasRead ? files_.lookAgain(path, *content->second) : files_.look(path);
  return sameAnswer(entry, orNone(now.entry), sameAttributes) &&
         sameAnswer(content->second, now.bytes, areEqual);
}

std::optional<std::string> RememberedFiles::firstChange() {
  // Whatever was read has an entry too.
  for (const auto& [path, entry] : entries_) {
    if (!assumed_.contains(path) && !isUnchanged(path, entry)) return path;
  }
  for (const auto& [path, there] : targets_) {
    if (assumed_.contains(path)) continue;
    if (!sameAnswer(there, orNone(files_.attributesOfTarget(path)), sameAttributes)) return path;
  }
  for (const auto& [names, owner] : owners_) {
    if (!sameAnswer(owner, numbersOf(names_, names.first, names.second), std::equal_to<>())) {
      return "the owner \"" + names.first + "\", group \"" + names.second + '"';
    }
  }
  return std::nullopt;
}

}  // namespace accountsettings
