// The part of quillet::Owned that the library keeps to itself: for the files that know what is owned.

#pragma once

#include <utility>

#include <quillet/owned.h>

template <class T>
quillet::Owned<T>::~Owned() {
  delete object;
}

template <class T>
void quillet::Owned<T>::reset(T* replacement) {
  delete std::exchange(object, replacement);
}
