/// Something that goes on until this object is destroyed, such as being told of changes.
///
/// Destroying it returns only when no call to the subscriber is running and none will follow; so it
/// must not be destroyed by the subscriber's own callback. Move the pointer, never the object.
#pragma once

namespace quarrydex {

class Subscription {
  public:
    Subscription() = default;
    virtual ~Subscription() = default;
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
};

} // namespace quarrydex
