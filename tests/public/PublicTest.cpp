// Links libQUILT.so and libEMULSION.so as a caller does: what is missing here is not exported.

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <EMULSION/Error.h>
#include <QUILT/RefPtr.h>
#include <UTIL/Exceptions.h>
#include <UTIL/Rect.h>

namespace
{

class Counted : public QUILT::ThreadSafeRefBase
{
public:
    explicit Counted(int& living) : m_living(living) { ++m_living; }

protected:
    ~Counted() override { --m_living; }

private:
    int& m_living;
};

}

TEST(Public, CallersDeriveFromTheRootOfSharedObjects)
{
    int living = 0;
    {
        const QUILT::ref_ptr<QUILT::ThreadSafeRefBase> object(new Counted(living));
        const QUILT::ref_ptr<QUILT::ThreadSafeRefBase> second = object;
        EXPECT_EQ(object->refCount(), 2);
        EXPECT_NE(dynamic_cast<Counted*>(object.get()), nullptr);
    }
    EXPECT_EQ(living, 0);
}

TEST(Public, ExceptionsAreCaughtByTheirBases)
{
    EXPECT_THROW(throw UTIL::OutOfMemoryException("text", "file", 7), UTIL::ErrorException);
    EXPECT_THROW(throw UTIL::AssertException("text", "file", 7), UTIL::ErrorException);
    EXPECT_THROW((void)UTIL::Rect(0, 0, 1, 1).pad(INT64_MAX, 0, true), std::runtime_error);
}

TEST(Public, ErrorsAreSetAsideForAScope)
{
    EMULSION::SetError(EMULSION::ERROR_FILE_READ, "first");
    {
        const EMULSION::ErrorScope scope;
        EXPECT_EQ(EMULSION::GetError(), EMULSION::ERROR_NONE);
        EMULSION::SetError(EMULSION::ERROR_UNKNOWN, "second");
    }
    EXPECT_EQ(EMULSION::GetErrorMessage(), "first");
    EMULSION::ClearError();
}
