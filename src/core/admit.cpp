#include "core/admit.h"

#include <limits>

#include <quillet/error_codes.h>

namespace quillet {

bool admit(OutputAVIFile& file, long first, const unsigned char* data, long count, long& bytes, long long size,
           int parts) {
  constexpr long long most = std::numeric_limits<long>::max();
  const bool isRun = data != nullptr && count >= 0 && first <= most - count;
  // Asked without the product, which may be beyond any number.
  const bool isTooLarge = bytes < 0 && count > 0 && size > most * parts / count;
  if (!isRun || isTooLarge) {
    file.lastError = file.usesDirectShow() ? static_cast<int>(ds_error::writeError) : vfw_error::writeError;
    return false;
  }
  if (bytes < 0) {
    bytes = static_cast<long>(size * count / parts);
  }
  return true;
}

}  // namespace quillet
