#include "QuarrydexApp/model/WaitUntil.h"

#include "QuarrydexApp/model/Model.h"

#include <QEventLoop>

namespace quarrydex {

void waitUntil(const Model& model, const std::function<bool()>& done) {
    if (done())
        return;
    QEventLoop loop;
    const auto check = [&] {
        if (done())
            loop.quit();
    };
    QObject::connect(&model, &Model::resultsChanged, &loop, check);
    QObject::connect(&model, &Model::sortingChanged, &loop, check);
    QObject::connect(&model, &Model::volumesChanged, &loop, check);
    loop.exec();
}

} // namespace quarrydex
