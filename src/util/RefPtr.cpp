#include "QUILT/RefPtr.h"

namespace OZK_ptr_v4
{

ThreadSafeRefBase::~ThreadSafeRefBase() = default;

}
