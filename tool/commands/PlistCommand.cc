// `plist`: any property list, printed or converted.
#include "tool/commands/PlistCommand.h"

#include "plist/BinaryWriter.h"
#include "plist/Reader.h"
#include "plist/XmlWriter.h"
#include "tool/frame/Json.h"
#include "tool/frame/SizeLimit.h"
#include "tool/values/PropertyText.h"
#include "tool/values/ReadFile.h"
#include "tool/values/Recovery.h"

namespace accountsettings {

namespace {

std::string_view asText(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

PropertyList readAnyForm(const std::string& file) {
  const std::string name = file == "-" ? "standard input" : file;
  const Bytes bytes = readFile(file);
  if (bytes.empty())
    throw Prevented(name, "it is empty, not a property list", "check the path",
                    FailureCode::Unreadable);
  Result<PropertyList> value = propertyListOrJsonIn(bytes);
  if (!value) {
    throw Prevented(
        name, value.error().message,
        "it is no property list (binary, XML or JSON), or a damaged one: take another file or a "
        "good copy; --recover prints what is whole of one that was cut off",
        FailureCode::Unreadable);
  }
  return std::move(value).value();
}

Bytes inForm(const PropertyList& value, std::string_view form, const std::string& file,
             bool limited) {
  const auto orRefuse = [&](auto result) {
    if (!result) {
      throw Prevented(file, result.error().message,
                      "this form cannot hold the value; convert to another one",
                      FailureCode::Unfit);
    }
    return std::move(result).value();
  };
  if (form == "binary") return orRefuse(writeBinary(value));
  if (form == "xml") return orRefuse(writeXml(value));
  // What is converted must be the same again when it is read.
  if (limited && fittedToLimit(value).leftOut > 0) {
    throw Prevented(file,
                    "values that are shared so often that this form, which spells out each, would "
                    "be too large",
                    "convert to the binary form, or go on with --no-limit", FailureCode::Unfit);
  }
  const std::string json = orRefuse(toJson(value)) + "\n";
  return Bytes(json.begin(), json.end());
}

}  // namespace

void PlistCommand::describe(OptionSet& options) {
  options.argument("FILE", file_,
                   "The property list, or JSON, to read; '-' or none is standard input");
  options.choice("-t,--to", form_, {"text", "binary", "xml", "json"},
                 "The form to write; text where left out");
  options.text(
      "-o,--out", out_, "FILE",
      "Write there instead of standard output; a file that is made is for its owner alone");
  options.flag("--recover", recover_,
               "Print as text what is whole of a file that was cut off (status 1); the file stays "
               "as it is");
  options.example(
      "accountsettings plist device/var/mobile/Library/Preferences/com.zelqo.accountsettings.plist "
      "--to json --out settings.json",
      "Writes what the file holds, whatever its form, as JSON.");
  options.example("accountsettings plist settings.json --to binary --out settings.plist",
                  "Makes a binary property list of a JSON file.");
}

ExitStatus PlistCommand::recover(Session& session) const {
  if (form_ || out_ || session.options.json) {
    throw WrongUsage("--recover", "what is incomplete is printed as text alone",
                     "leave --to, --out and --json out");
  }
  const std::string file = file_.value_or("-");
  const std::string name = file == "-" ? "standard input" : file;
  const Bytes bytes = readFile(file);
  Output& output = session.output;
  if (const Result<PropertyList> whole = readPropertyList(bytes)) {
    output.note(name + ": it is whole");
    output.block(propertyText(output.fitting(*whole)));
    return ExitStatus::Done;
  }
  const Result<Recovered> recovered = recoverCutOff(bytes);
  if (!recovered) {
    throw Prevented(name, "nothing can be had of it: " + recovered.error().message,
                    "put back a good copy: see 'accountsettings restore --list'",
                    FailureCode::Unreadable);
  }
  output.block(propertyText(output.fitting(recovered->value)));
  std::string missing = "what stood behind that is not known";
  if (recovered->cutOff > 0) {
    missing = counted(recovered->cutOff, "value or key is", "values and keys are") +
              " missing, where … stands; " + missing;
  }
  output.note(name + ": it was cut off; " + missing);
  return ExitStatus::No;
}

ExitStatus PlistCommand::run(Session& session) {
  if (recover_) return recover(session);
  const std::string form = form_.value_or(session.options.json ? "json" : "text");
  const std::string file = file_.value_or("-");
  if (form == "binary" && !out_ && session.output.onTerminal()) {
    throw WrongUsage("--to binary", "standard output is a terminal, which cannot show this form",
                     "name a file with --out");
  }
  const PropertyList value = readAnyForm(file);
  Bytes content;
  if (form == "text") {
    const std::string text = propertyText(session.output.fitting(value));
    content.assign(text.begin(), text.end());
  } else {
    content = inForm(value, form, file == "-" ? "standard input" : file, !session.options.noLimit);
  }
  if (out_) {
    writePrivateFile(*out_, content);
    session.changed = true;
  } else {
    session.output.data(asText(content));
  }
  return ExitStatus::Done;
}

}  // namespace accountsettings
