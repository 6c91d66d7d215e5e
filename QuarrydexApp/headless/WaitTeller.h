/// Tells on the terminal how far the catalogues and their tags are, while they are being read.
///
/// Threads: the main thread. Ownership: the model outlives this. Fails: never.
#pragma once

#include "QuarrydexApp/headless/ProgressLine.h"
#include "QuarrydexApp/model/Model.h"

#include <QObject>

namespace quarrydex {

class WaitTeller {
  public:
    explicit WaitTeller(const Model& model);

    WaitTeller(const WaitTeller&) = delete;
    WaitTeller& operator=(const WaitTeller&) = delete;

    /// Makes room for another line; goes on below it.
    void clear() { line_.clear(); }

  private:
    void tell();

    const Model& model_;
    ProgressLine line_;
    QObject context_; ///< last: ends the connection
};

} // namespace quarrydex
