// SPDX-License-Identifier: Apache-2.0
// The end of a reference counter. It is not inline: where compilers see it at copies of pointers, they
// mistake the other pointers' use of the counter for a use after its end.
#include "zelta_shared_ptr.h"

namespace zelta {

void shared_ptr_ref_counter::end(shared_ptr_ref_counter* counter) noexcept {
    counter->m_mutex.lock();
    counter->m_mutex.unlock();
    delete counter;
}

}  // namespace zelta
