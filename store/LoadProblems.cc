// LoadProblems.cc asks what the store itself goes by: the record's checks and the mail repairer.
#include "store/LoadProblems.h"

#include "account/AccountConstants.h"
#include "store/Descriptions.h"
#include "store/RSRuntimeFixMailAccount.h"

namespace accountsettings {
namespace {

std::string inWords(const RecordProblems& problems, const Dictionary& properties) {
  if (problems.noType) return "it has no type";
  if (problems.unknownType) {
    return "its type \"" + std::string(*properties.string(kAccountType)) + "\" is unknown";
  }
  return problems.noClass ? "it has no class" : "";
}

}  // namespace

MailClass mailClassOf(const Dictionary& properties) {
  const auto type = properties.string(kAccountType);
  if (!type || !RSRuntimeFixMailAccount().supportedAccountTypes().contains(*type)) return {};
  MailClass mail;
  mail.found = properties.string(kAccountClass).value_or("");
  if (RSRuntimeFixMailAccount::isMailClass(mail.found)) return mail;
  const auto told =
      RSRuntimeFixMailAccount::mailClassToldBy(properties.string("AccountPath").value_or(""));
  mail.result = told ? FixResult::Fixed : FixResult::Unfixable;
  mail.repaired = told.value_or("");
  return mail;
}

LoadProblems loadProblemsOf(const Dictionary& properties) {
  LoadProblems problems{recordProblemsOf(properties)};
  problems.unknownMailClass =
      !problems.any() && mailClassOf(properties).result == FixResult::Unfixable;
  return problems;
}

std::string whyNotLoaded(const Dictionary& properties) {
  const LoadProblems problems = loadProblemsOf(properties);
  if (problems.unknownMailClass) {
    return "its mail class is unknown and its \"AccountPath\" does not tell it";
  }
  return inWords(problems, properties);
}

ChildLoadProblems loadProblemsOfChild(const Dictionary& properties) {
  ChildLoadProblems problems{recordProblemsOf(properties)};
  problems.noIdentifier = !identifierIn(properties);
  return problems;
}

std::string whyNotLoadedChild(const Dictionary& properties) {
  const ChildLoadProblems problems = loadProblemsOfChild(properties);
  if (problems.RecordProblems::any()) return inWords(problems, properties);
  return problems.noIdentifier ? "it has no identifier" : "";
}

}  // namespace accountsettings
