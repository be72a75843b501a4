#include "sfthread/sfthread.h"

sfMutex::sfMutex() = default;
sfMutex::~sfMutex() {}

sfGuard::sfGuard(sfMutex& mutex, sfMutex::LockType /*type*/) : _held(mutex) { _held._mutex.lock(); }
sfGuard::~sfGuard() { _held._mutex.unlock(); }
