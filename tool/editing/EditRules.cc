// The keys, types and data classes that an edit may not touch, and why.
#include "tool/editing/EditRules.h"

#include <algorithm>
#include <array>
#include <optional>

#include "account/RecordProblems.h"
#include "account/StringList.h"
#include "plist/Description.h"
#include "store/LoadProblems.h"
#include "tool/accounts/AccountMatching.h"
#include "tool/accounts/UsualClasses.h"
#include "tool/frame/Errors.h"
#include "tool/frame/Output.h"
#include "tool/inspection/InspectionParts.h"
#include "tool/values/PropertyText.h"

namespace accountsettings {
namespace {

// What is asked for does not fit the account.
class Unfit : public Prevented {
 public:
  Unfit(std::string_view where, std::string_view why, std::string_view next = {})
      : Prevented(where, why, next, FailureCode::Unfit) {}
};

// A key that cannot be edited like any other, and what to do instead.
struct FixedKey {
  std::string_view key;
  const char* reason;
  const char* next;
};

constexpr std::array kFixedKeys = {
    FixedKey{kAccountType, "an account keeps its type for life",
             "add an account of the other type and remove this one"},
    FixedKey{kAccountClass, "an account keeps its class for life",
             "add an account of the other class and remove this one"},
    FixedKey{kAccountIdentifier, "the identifier is what everybody knows the account by",
             "add an account of its own instead"},
    FixedKey{kAccountChildAccounts, "children are edited one by one",
             "give the child's own identifier, or use 'add --parent' and 'remove'"}};

constexpr const char* kEmptyKey = "a key has at least one character";
constexpr const char* kUnknownType = "the type registry does not know this type";
constexpr const char* kKnownTypes =
    "'accountsettings show' lists accounts with types that it knows";
constexpr const char* kNoClass = "the account class is required";
constexpr const char* kMailClasses =
    "give the class that handles it, for example IMAPAccount or POPAccount";

void requireNotFixed(const std::string& where, std::string_view key) {
  for (const FixedKey& fixed : kFixedKeys) {
    if (fixed.key == key) throw Unfit(where, fixed.reason, fixed.next);
  }
}

// How many accounts and children have the identifier.
std::size_t bearersOf(std::string_view identifier, const Array& accounts) {
  std::size_t count = 0;
  forEachAccount(accounts, [&](AccountPlace, const Dictionary& account) {
    if (identifierOf(account) == identifier) ++count;
  });
  return count;
}

// Throws where nobody would read the value under the key.
void requireKind(const std::string& where, std::string_view key, const PropertyList& value) {
  for (const ModelKey& model : kModelKeys) {
    // Anything reads as a boolean.
    if (model.key == key && model.kind != value.kind() &&
        model.kind != PropertyList::Kind::Boolean) {
      throw Unfit(where,
                  std::string(kindInWords(value)) + " would be read as absent; the key holds " +
                      std::string(model.expected),
                  "give a value of that kind");
    }
  }
}

std::string named(const BasicAccount& account) {
  return "account '" + account.identifier().value_or("") + "'";
}

std::string supportedInWords(const BasicAccount& account) {
  std::vector<std::string_view> names;
  const StringList supported = account.supportedDataclasses();
  for (const std::string& each : supported) names.push_back(shortDataclass(each));
  return "this type carries " + (names.empty() ? "none" : joined(names, ", "));
}

// Throws where accounts of this type do not carry the data class.
void requireCarried(const BasicAccount& account, const std::string& dataclass,
                    const std::string& where) {
  const StringList supported = account.supportedDataclasses();
  if (std::find(supported.begin(), supported.end(), dataclass) != supported.end()) return;
  throw Unfit(where,
              "accounts of type '" + account.type().value_or("") + "' cannot carry " +
                  std::string(shortDataclass(dataclass)),
              supportedInWords(account));
}

// The first string of a list that is no data class of the account's type.
std::optional<std::string> unsupportedMember(const BasicAccount& account, const Array& list) {
  const StringList supported = account.supportedDataclasses();
  for (const PropertyList& each : list) {
    const auto text = each.stringValue();
    if (!text) return "a member that is no string";
    if (std::find(supported.begin(), supported.end(), *text) == supported.end()) {
      return "'" + std::string(*text) + "'";
    }
  }
  return std::nullopt;
}

// Throws where a list of data classes holds one that accounts of this type do not carry.
void requireCarriedLists(const BasicAccount& account, std::string_view key,
                         const PropertyList& value, const std::string& where) {
  if (key != kAccountEnabledDataclasses && key != kAccountProvisionedDataclasses) return;
  if (const auto unsupported = unsupportedMember(account, *value.array())) {
    throw Unfit(
        where,
        "accounts of type '" + account.type().value_or("") + "' cannot carry " + *unsupported,
        supportedInWords(account));
  }
}

}  // namespace

void requireMaySet(const BasicAccount& account, const std::string& key, const PropertyList* value) {
  const std::string where = named(account) + ", key '" + key + "'";
  if (key.empty()) throw Unfit(named(account), kEmptyKey);
  requireNotFixed(where, key);
  if (!value) return;
  requireKind(where, key, *value);
  requireCarriedLists(account, key, *value, where);
}

void requireMayMend(const Array& accounts, const Dictionary& before, const Dictionary& after,
                    const std::string& name, const std::string& key) {
  const std::string account = "account '" + name + "'";
  const std::string where = account + ", key '" + key + "'";
  if (key.empty()) throw Unfit(account, kEmptyKey);
  const PropertyList* value = after.find(key);
  const std::string_view identifier = identifierOf(before);
  const bool isFaulty = key == kAccountIdentifier
                            ? identifier.empty() || bearersOf(identifier, accounts) > 1
                            : key != kAccountChildAccounts && loadProblemsOf(before).any();
  if (!isFaulty || value == nullptr) requireNotFixed(where, key);
  if (value == nullptr) return;
  requireKind(where, key, *value);
  if (key == kAccountIdentifier) {
    const std::string_view given = identifierOf(after);
    if (given.empty() || bearersOf(given, accounts) > 0) {
      throw Unfit(where, given.empty() ? "it is empty" : "another account has this identifier",
                  "make one with --fresh");
    }
  } else if (key == kAccountType && typeProblem(after)) {
    const std::string meant = probableTypeOf(after);
    throw Unfit(where, kUnknownType,
                meant.empty() ? kKnownTypes : "did you mean '" + meant + "'? " + kKnownTypes);
  } else if (key == kAccountClass && recordProblemsOf(after).noClass) {
    throw Unfit(where, kNoClass);
  } else if (key == kAccountClass && mailClassOf(after).result == FixResult::Unfixable) {
    throw Unfit(where, "this is no mail class", kMailClasses);
  }
}

void requireSupports(const BasicAccount& account, const std::string& dataclass) {
  requireCarried(account, dataclass, named(account));
}

void requireMayAdd(const AccountsManager& store, const Dictionary& properties,
                   const StringList& enabled) {
  const std::string type(properties.string(kAccountType).value_or(""));
  const std::string where = "an account of type '" + type + "'";
  if (typeProblem(properties)) {
    throw Unfit(where, kUnknownType, kKnownTypes);
  }
  if (recordProblemsOf(properties).noClass) throw Unfit(where, kNoClass);
  const MailClass mail = mailClassOf(properties);
  if (mail.result != FixResult::NothingToDo) {
    throw Unfit(where, "the class '" + mail.found + "' is no mail class", kMailClasses);
  }
  const auto account = BasicAccount::accountWithProperties(properties);
  for (const auto& [key, value] : properties) {
    const std::string place = where + ", key '" + std::string(key) + "'";
    requireKind(place, key, value);
    requireCarriedLists(*account, key, value, place);
  }
  for (const std::string& dataclass : enabled) requireCarried(*account, dataclass, where);
  const std::string identifier(properties.string(kAccountIdentifier).value_or(""));
  if (identifier.empty()) return;
  for (const auto& other : store.allBasicSyncableAccounts()) {
    if (other->identifier() == identifier) {
      throw Prevented(where, "there is an account with the identifier '" + identifier + "' already",
                      "leave \"Identifier\" out, and a fresh one is made", FailureCode::Exists);
    }
  }
}

}  // namespace accountsettings
