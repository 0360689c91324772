// SampleChecks are the expectations that tests have of any file, sound or not.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "plist/Corpus.h"
#include "plist/PropertyList.h"
#include "plist/Result.h"

namespace accountsettings {

// What reading a file of that size, and using what was read, may take.
[[nodiscard]] std::size_t memoryLimit(std::size_t fileSize) noexcept;

// The path of the first value that the XML form cannot hold; none where it can hold all.
[[nodiscard]] std::optional<std::string> pathOfXmlObstacle(const PropertyList& value);

// The message begins with a byte or line that the file has, and goes on.
void expectPlacedError(const Error& error, const Bytes& bytes);

// `row` has an "outcome", "read" or "rejected", and a "text": the beginning of the
// value's description, or the whole message.
void expectOutcome(const Row& row, const Result<PropertyList>& value, const Bytes& bytes);

void expectSurvivesBinary(const PropertyList& value);

// Reads the bytes, copies, compares, describes and writes what was read, all within the limit.
void expectBoundedMemory(const Bytes& bytes);

}  // namespace accountsettings
