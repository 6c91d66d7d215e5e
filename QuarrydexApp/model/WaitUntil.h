/// Waiting for what a model is to come to, where nothing else is to be done meanwhile.
/// Threads: the main thread, with a QCoreApplication. Fails: never; what never comes is waited for.
#pragma once

#include <functional>

namespace quarrydex {

class Model;

/// Runs the event loop until `done`, which is asked after each change of the model.
void waitUntil(const Model& model, const std::function<bool()>& done);

} // namespace quarrydex
