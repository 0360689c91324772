// ResultsWriter appends lines to a results file, each whole or not at all.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "plist/Result.h"

namespace accountsettings {

class ResultsWriter {
 public:
  // Opens the file, or makes it, and locks it for as long as this lives and a process that was
  // forked meanwhile. A last line that was cut off is taken away. Fails where another run writes to
  // it, and with EEXIST where it holds results and is not to be gone on with.
  [[nodiscard]] static Result<std::unique_ptr<ResultsWriter>> open(const std::string& file,
                                                                   bool goOn);
  ~ResultsWriter();
  ResultsWriter(const ResultsWriter&) = delete;
  ResultsWriter& operator=(const ResultsWriter&) = delete;

  // Appends the line with one write; where there is no room for all of it, nothing stays of it.
  // Whoever kills this program afterwards finds the line.
  Status append(std::string_view line);
  // Has what was appended lie on the disk, so that a loss of power leaves it.
  Status flush();

 private:
  ResultsWriter(std::string file, int descriptor) noexcept;

  std::string file_;
  int descriptor_;
};

}  // namespace accountsettings
