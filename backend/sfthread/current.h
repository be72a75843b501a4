#pragma once

#include "sfthread/sfthread.h"

/// This thread's youngest counter, or null.
sfCompleteTask* CurrentCounter();
