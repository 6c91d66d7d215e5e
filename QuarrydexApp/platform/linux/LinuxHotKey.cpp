#include "QuarrydexApp/platform/linux/LinuxHotKey.h"

#include "QuarrydexApp/platform/linux/PortalHotKey.h"
#ifdef QDX_WITH_XCB
#include "QuarrydexApp/platform/linux/X11HotKey.h"
#endif

namespace quarrydex {

namespace {

/// Where no key reaches a program that is not in front.
class NoHotKey final : public HotKey {
  public:
    void register_(std::uint32_t,
                   std::uint32_t,
                   std::function<void()>,
                   std::function<void(Outcome)> answer) override {
        if (answer)
            answer(Outcome::unavailable);
    }

    void unregister() override {}
};

} // namespace

std::unique_ptr<HotKey>
linuxHotKey(const QString& platformName, bool isWaylandSession, const QDBusConnection& bus) {
    const bool isX11 = platformName == QLatin1String("xcb");
    if (platformName.startsWith(QLatin1String("wayland")) || (isX11 && isWaylandSession))
        return std::make_unique<PortalHotKey>(bus);
#ifdef QDX_WITH_XCB
    if (isX11)
        return std::make_unique<X11HotKey>();
#endif
    return std::make_unique<NoHotKey>();
}

} // namespace quarrydex
