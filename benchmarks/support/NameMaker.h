/// Makes file names like those of this machine: whole stems, words cut from stems and extensions
/// are drawn as often as they occur under /usr, with some extensions of documents, pictures and
/// music among them, and put together anew.
#pragma once

#include "benchmarks/support/Random.h"

#include <cstddef>
#include <string>
#include <vector>

namespace quarrydex::bench {

class NameMaker {
  public:
    /// Reads the names (seconds on a cold disk) and sets the number of words to a name so that
    /// the mean length comes out near `meanLength` bytes.
    explicit NameMaker(double meanLength);

    /// Replaces `out`; never empty, never longer than 200 bytes.
    void makeFile(Random& random, std::string& out) const;
    void makeFolder(Random& random, std::string& out) const;

  private:
    void appendStem(Random& random, std::string& out) const;

    std::vector<std::string> stems_;
    std::vector<std::string> words_;
    std::vector<std::string> extensions_; ///< with their dot
    double extraWord_ = 0;                ///< chance that a stem gets another word
};

} // namespace quarrydex::bench
