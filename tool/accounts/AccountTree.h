// AccountTree is what settings hold, read for showing: accounts with their children and
// the values that people ask for first. Values of the wrong kind read as absent.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "plist/PropertyList.h"

namespace accountsettings {

struct LegacyFormat;

struct AccountNode {
  Dictionary properties;  // everything stored, the children aside
  std::size_t index = 0;  // in its list
  std::string identifier;
  // What it is called by, "#3" or "PARENT/#1", where its identifier does not tell it apart; else
  // empty.
  std::string placeName;
  std::string type;  // a child without one has its parent's
  std::string accountClass;
  std::string name;
  std::string username;
  std::optional<std::vector<std::string>> enabled;  // none where no list is stored
  bool isContext = false;  // nobody asked for it, but for one of its children
  std::string notLoaded;   // why the store does not load it, for example "it has no class"
  std::vector<AccountNode> children;
};

struct AccountTree {
  std::optional<std::int64_t> version;
  std::vector<AccountNode> accounts;
  std::vector<std::string> foreignKeys;  // of the root, beside "Accounts" and "Version"
  std::size_t strangers = 0;             // members of account lists that are no dictionaries
  std::string problem;                   // why the list of accounts cannot be read

  // Without those that are there for their children.
  [[nodiscard]] std::size_t accountCount() const;
  [[nodiscard]] std::size_t childCount() const;
  // Accounts, children and strangers that the store does not load.
  [[nodiscard]] std::size_t notLoadedCount() const;
};

// The tree of a settings file's root, which may be of any kind. Asks the type registry of
// ProcessContext::current().
[[nodiscard]] AccountTree accountTreeOf(const PropertyList& settings);

// The descriptions of a legacy file's root, which may be of any kind, as accounts of their future
// types.
[[nodiscard]] AccountTree legacyTreeOf(const PropertyList& file, const LegacyFormat& format);

using NodeVisitor = std::function<void(const AccountNode& account)>;

// Every account, each before its children.
void forEachNode(const std::vector<AccountNode>& accounts, const NodeVisitor& visit);

// Keeps what `wanted` accepts, and the parents of accepted children for their sake. An accepted
// account keeps all its children where `withFamily` says so.
void keepOnly(std::vector<AccountNode>& accounts,
              const std::function<bool(const AccountNode&)>& wanted, bool withFamily);

// The account's type and its name, else its user's, for people.
[[nodiscard]] std::string accountTitle(const Dictionary& account);

}  // namespace accountsettings
