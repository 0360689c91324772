// A small file system with names, nodes, and what of both is flushed.
#include "faults/CrashStates.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <unordered_set>
#include <utility>

namespace accountsettings::faults {

namespace {

using testing::DiskChange;

// A file, directory or link, whatever its names are.
struct Node {
  DiskEntry entry;
  std::string flushed;  // content that is certain
  bool isFlushed = true;
  std::map<std::string, std::shared_ptr<Node>> names;  // of a directory, as programs see it
};
using NodePointer = std::shared_ptr<Node>;

// One step in directories that is not certain yet: names that get another node, or none.
struct NameStep {
  struct Edit {
    NodePointer directory;
    std::string name;
    NodePointer node;  // nullptr: the name goes
  };
  std::vector<Edit> edits;
};

class FileSystem {
 public:
  FileSystem(const DiskTree& before, std::filesystem::path root) : root_(std::move(root)) {
    top_->entry.kind = DiskEntry::Kind::Directory;
    for (const auto& [path, entry] : before) {
      const auto node = std::make_shared<Node>();
      node->entry = entry;
      node->flushed = entry.content;
      const auto [directory, name] = placeOf(path);
      directory->names[name] = node;
    }
    certain_ = namesOf(top_);
  }

  void apply(const DiskChange& change);
  // Calls `look` with every state that a cut now may leave; false stops.
  bool eachState(const std::function<bool(const DiskTree&)>& look, CrashFigures& figures);

 private:
  using Names = std::map<const Node*, std::map<std::string, NodePointer>>;

  [[nodiscard]] std::pair<NodePointer, std::string> placeOf(const std::string& path) const;
  [[nodiscard]] std::string inRoot(const std::string& path) const {
    return std::filesystem::path(path).lexically_relative(root_).string();
  }
  [[nodiscard]] NodePointer nodeAt(const std::string& path) const {
    const auto [directory, name] = placeOf(inRoot(path));
    const auto found = directory->names.find(name);
    return found == directory->names.end() ? nullptr : found->second;
  }
  [[nodiscard]] static Names namesOf(const NodePointer& directory);
  void make(const DiskChange& change, DiskEntry::Kind kind);
  void flushDirectory(const std::string& path);
  [[nodiscard]] std::vector<NodePointer> unflushedFiles(const Names& names) const;
  void collect(const Names& names, const Node* directory, const std::string& path,
               std::vector<std::pair<std::string, NodePointer>>& into) const;

  std::filesystem::path root_;
  NodePointer top_ = std::make_shared<Node>();
  Names certain_;               // by directory
  std::vector<NameStep> open_;  // in their order
};

std::pair<NodePointer, std::string> FileSystem::placeOf(const std::string& path) const {
  NodePointer directory = top_;
  std::string name;
  for (const auto& part : std::filesystem::path(path)) {
    if (!name.empty()) directory = directory->names.at(name);
    name = part.string();
  }
  return {directory, name};
}

FileSystem::Names FileSystem::namesOf(const NodePointer& directory) {
  Names all{{directory.get(), directory->names}};
  for (const auto& [name, node] : directory->names) {
    if (node->entry.kind == DiskEntry::Kind::Directory) all.merge(namesOf(node));
  }
  return all;
}

void FileSystem::make(const DiskChange& change, DiskEntry::Kind kind) {
  const auto node = std::make_shared<Node>();
  node->entry.kind = kind;
  node->entry.mode = change.mode;
  node->entry.content = node->flushed = change.to;  // of a link, which is written with its name
  const auto [directory, name] = placeOf(inRoot(change.path));
  directory->names[name] = node;
  open_.push_back({{{directory, name, node}}});
}

void FileSystem::flushDirectory(const std::string& path) {
  const std::string inside = inRoot(path);
  const NodePointer directory = inside == "." ? top_ : nodeAt(path);
  // In their order, so that the last one counts.
  for (NameStep& step : open_) {
    for (const NameStep::Edit& edit : step.edits) {
      if (edit.directory != directory) continue;
      if (edit.node != nullptr) {
        certain_[directory.get()][edit.name] = edit.node;
      } else {
        certain_[directory.get()].erase(edit.name);
      }
    }
    std::erase_if(step.edits,
                  [&](const NameStep::Edit& edit) { return edit.directory == directory; });
  }
  std::erase_if(open_, [](const NameStep& step) { return step.edits.empty(); });
}

void FileSystem::apply(const DiskChange& change) {
  using Kind = DiskChange::Kind;
  switch (change.kind) {
    case Kind::Create:
      return make(change, DiskEntry::Kind::File);
    case Kind::MakeDirectory:
      return make(change, DiskEntry::Kind::Directory);
    case Kind::Link:
      return make(change, DiskEntry::Kind::Link);
    case Kind::Write:
      if (const NodePointer file = nodeAt(change.path)) {
        file->entry.content += change.bytes;
        file->isFlushed = false;
      }
      return;
    case Kind::Truncate:
      if (const NodePointer file = nodeAt(change.path)) {
        file->entry.content.clear();
        file->isFlushed = false;
      }
      return;
    case Kind::Rename: {
      const auto [from, source] = placeOf(inRoot(change.path));
      const auto [to, target] = placeOf(inRoot(change.to));
      const NodePointer node = from->names.at(source);
      from->names.erase(source);
      to->names[target] = node;
      open_.push_back({{{from, source, nullptr}, {to, target, node}}});
      return;
    }
    case Kind::Unlink:
    case Kind::RemoveDirectory: {
      const auto [directory, name] = placeOf(inRoot(change.path));
      directory->names.erase(name);
      open_.push_back({{{directory, name, nullptr}}});
      return;
    }
    case Kind::Mode:
      if (const NodePointer node = nodeAt(change.path)) node->entry.mode = change.mode;
      return;
    case Kind::Owner:
      if (const NodePointer node = nodeAt(change.path)) {
        node->entry.owner = change.owner;
        node->entry.group = change.group;
      }
      return;
    case Kind::Flush:
      if (const NodePointer file = nodeAt(change.path)) {
        file->flushed = file->entry.content;
        file->isFlushed = true;
      }
      return;
    case Kind::FlushDirectory:
      return flushDirectory(change.path);
  }
}

void FileSystem::collect(const Names& names, const Node* directory, const std::string& path,
                         std::vector<std::pair<std::string, NodePointer>>& into) const {
  const auto found = names.find(directory);
  if (found == names.end()) return;
  for (const auto& [name, node] : found->second) {
    into.emplace_back(path + name, node);
    if (node->entry.kind == DiskEntry::Kind::Directory) {
      collect(names, node.get(), path + name + "/", into);
    }
  }
}

// What content may be found in a file whose content was not flushed.
std::vector<std::string> contentsOf(const Node& file) {
  if (file.isFlushed) return {file.entry.content};
  const std::string& full = file.entry.content;
  return {full, file.flushed, full.substr(0, full.size() / 2), std::string(full.size(), '\0')};
}

bool FileSystem::eachState(const std::function<bool(const DiskTree&)>& look,
                           CrashFigures& figures) {
  constexpr std::size_t kMostOpen = 16;
  if (open_.size() > kMostOpen) throw std::runtime_error("too many names are not flushed");
  ++figures.moments;
  for (std::size_t set = 0; set < std::size_t{1} << open_.size(); ++set) {
    Names names = certain_;
    for (std::size_t i = 0; i < open_.size(); ++i) {
      if ((set >> i & 1U) == 0) continue;
      for (const NameStep::Edit& edit : open_[i].edits) {
        if (edit.node != nullptr) {
          names[edit.directory.get()][edit.name] = edit.node;
        } else {
          names[edit.directory.get()].erase(edit.name);
        }
      }
    }
    std::vector<std::pair<std::string, NodePointer>> all;
    collect(names, top_.get(), "", all);
    DiskTree tree;
    std::vector<std::pair<std::string, NodePointer>> uncertain;
    for (const auto& [path, node] : all) {
      tree[path] = node->entry;
      if (!node->isFlushed) uncertain.emplace_back(path, node);
    }
    figures.mostOpen = std::max(figures.mostOpen, open_.size() + uncertain.size());
    // Every choice of a content for each of them: a number with a digit for each file.
    for (std::size_t choice = 0, end = std::size_t{1} << (2 * uncertain.size()); choice < end;
         ++choice) {
      for (std::size_t i = 0; i < uncertain.size(); ++i) {
        tree[uncertain[i].first].content = contentsOf(*uncertain[i].second)[choice >> (2 * i) & 3U];
      }
      if (!look(tree)) return false;
    }
  }
  return true;
}

std::size_t hashOf(const DiskTree& tree) {
  std::string all;
  for (const auto& [path, entry] : tree) {
    all += path;
    all += '\0';
    all += static_cast<char>(entry.kind);
    all += std::to_string(entry.mode) + ":" + std::to_string(entry.owner) + ":";
    all += entry.content;
    all += '\0';
  }
  return std::hash<std::string>()(all);
}

}  // namespace

CrashFigures crashStates(const DiskTree& before, const std::vector<DiskChange>& changes,
                         const std::filesystem::path& root,
                         const std::function<bool(const DiskTree&)>& look) {
  CrashFigures figures;
  std::unordered_set<std::size_t> seen;
  const auto lookOnce = [&](const DiskTree& tree) {
    if (!seen.insert(hashOf(tree)).second) return true;
    ++figures.states;
    return look(tree);
  };
  FileSystem files(before, root);
  for (const DiskChange& change : changes) {
    if (!change.path.starts_with(root.string() + "/") && change.path != root.string()) continue;
    files.apply(change);
    if (!files.eachState(lookOnce, figures)) break;
  }
  return figures;
}

}  // namespace accountsettings::faults
