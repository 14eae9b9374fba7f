#include "directshow/graph/wide_name.h"

namespace quillet {

constOLEstring::constOLEstring(const char* narrow) {
  const int size = narrow != nullptr ? MultiByteToWideChar(CP_ACP, 0, narrow, -1, nullptr, 0) : 0;
  if (size > 0) {
    wide = std::make_unique<OLECHAR[]>(static_cast<std::size_t>(size));
    MultiByteToWideChar(CP_ACP, 0, narrow, -1, wide.get(), size);
  }
}

}  // namespace quillet
