// DirectShow media types: their ownership, and one as a value.

#pragma once

#include <windows.h>

#include <mmreg.h>
#include <strmif.h>

#include "platform/handles.h"

namespace quillet {

/// Frees the format block and releases the object that `mediaType` holds, and leaves both empty.
void FreeMediaType(AM_MEDIA_TYPE& mediaType);

/// Frees a media type that a COM method has handed out, with all that it holds.
void deleteMediaType(AM_MEDIA_TYPE* mediaType);
using MediaTypeHandle = UniqueHandle<AM_MEDIA_TYPE*, deleteMediaType>;

/// A media type that owns its format block and a count on the object in pUnk. Copying throws std::bad_alloc.
class CMediaType : public AM_MEDIA_TYPE {
 public:
  CMediaType() : AM_MEDIA_TYPE() {}
  explicit CMediaType(const AM_MEDIA_TYPE& other);
  CMediaType(const CMediaType& other) : CMediaType(static_cast<const AM_MEDIA_TYPE&>(other)) {}
  CMediaType(CMediaType&& other) noexcept;
  CMediaType& operator=(CMediaType other) noexcept;
  ~CMediaType();

  /// Back to a type of nothing: all ids null, no format.
  void reset() { *this = CMediaType(); }

  /// Replaces the format block by a copy of `size` bytes at `data`; the type's ids stay.
  void setFormat(const void* data, ULONG size);

  /// Whether both name the same format: same ids and the same format block.
  bool operator==(const CMediaType& other) const;

  /// Whether the type leaves open what the connection will carry.
  bool isPartial() const;

  /// Whether the type fits one that may be partial: what `pattern` leaves null fits anything.
  bool matchesPartial(const AM_MEDIA_TYPE& pattern) const;

  /// Writes a copy, which the caller frees with FreeMediaType, over `target`, whose content is taken to be garbage.
  void copyTo(AM_MEDIA_TYPE& target) const;
};

/// Describes audio of the format `format` over whatever `mediaType` held.
///
/// @param setFormat whether to add a copy of `format` as the format block, which the caller frees with FreeMediaType.
HRESULT CreateAudioMediaType(const WAVEFORMATEX* format, AM_MEDIA_TYPE* mediaType, BOOL setFormat);

}  // namespace quillet
