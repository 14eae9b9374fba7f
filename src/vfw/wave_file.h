// What has to be known of a wave file before AVIFile opens it.

#pragma once

namespace quillet {

/// Whether it is a wave file whose blocks have no bytes: AVIFile divides by their size while it opens the file.
bool isWaveOfEmptyBlocks(const wchar_t* fileName);

}  // namespace quillet
