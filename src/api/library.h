// The set-up of threads, for the library itself.

#pragma once

namespace quillet {

/// Does what QuilletThread() does, unless the calling thread has done so.
void prepareThread();

}  // namespace quillet
