#pragma once

/// @file
/// How the library's classes hold what clients do not see.

namespace quillet {

/// The owner of one hidden object, or of none; as wide as a pointer. What destroys the object is defined in the library, which
/// alone knows it: clients need not, and cannot.
template <class T>
class Owned {
 public:
  Owned() = default;
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;
  ~Owned();

  /// Destroys the object, and owns another one instead.
  /// @param replacement made with `new`; NULL for none.
  void reset(T* replacement);

  /// @return whether there is an object.
  explicit operator bool() const { return object != nullptr; }
  /// The object, which must be there.
  T* operator->() const { return object; }
  /// @copydoc operator->
  T& operator*() const { return *object; }

 private:
  T* object = nullptr;
};

}  // namespace quillet
