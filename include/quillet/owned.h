#pragma once

/// @file
/// How the library's classes hold what clients do not see.

/// What the library has beside its classes: error codes, options, and the classes of quillet.hpp.
namespace quillet {

/// The owner of one hidden object, or of none; as wide as a pointer. What destroys the object is defined in the library, which
/// alone knows it: clients need not, and cannot.
template <class T>
class Owned {
 public:
  /// Owns nothing.
  Owned() = default;
  /// An object has one owner.
  Owned(const Owned&) = delete;
  /// @copydoc Owned(const Owned&)
  Owned& operator=(const Owned&) = delete;
  /// Destroys the object.
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
