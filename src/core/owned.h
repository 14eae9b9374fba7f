// The part of quillet::Owned that the library keeps to itself: for the files that know what is owned.

#pragma once

#include <utility>

#include <quillet/owned.h>

namespace quillet {

template <class T>
Owned<T>::~Owned() {
  delete object;
}

template <class T>
void Owned<T>::reset(T* replacement) {
  delete std::exchange(object, replacement);
}

}  // namespace quillet
