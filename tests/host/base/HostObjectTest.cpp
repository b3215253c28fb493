// The counted base of host objects: the last Release destroys the object
// once, even when its clean-up takes and drops a reference to itself.
#include <gtest/gtest.h>

#include "host/base/HostObject.h"

namespace {

class SelfReferencing final : public host::HostObject<IObjectInfo> {
public:
    explicit SelfReferencing(int& destroyed) : m_destroyed(destroyed) {}
    HRESULT GetName(int32_t, tagREFString*) override { return E_NOTIMPL; }

private:
    ~SelfReferencing() override {
        // A clean-up that hands the object to someone for a moment.
        IPtr<IObjectInfo> passing(this);
        ++m_destroyed;
    }
    int& m_destroyed;
};

TEST(HostObject, TheLastReleaseDestroysOnceThoughTheCleanUpTakesAReference) {
    int destroyed = 0;
    IPtr<IUnknown> object = IPtr<IUnknown>::Adopt(new SelfReferencing(destroyed));
    IPtr<IObjectInfo> info = QueryAs<IObjectInfo>(object.Get());
    ASSERT_TRUE(info);
    object.Release();
    EXPECT_EQ(0, destroyed);
    info.Release();
    EXPECT_EQ(1, destroyed);
}

} // namespace
