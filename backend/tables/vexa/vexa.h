#pragma once

/// The whole interface of the library in one include.

#define VEXA_VERSION "0.1.0"

#include "DiscriminantMatrix.h"
#include "DscIndividualMatrix.h"
#include "compaction.h"
#include "databatch.h"
#include "databatchbygroup.h"
#include "driver.h"
#include "instructionset.h"
#include "kernels.h"
#include "matrixbase.h"
#include "matrixlistwise.h"
#include "matrixpairwise.h"
#include "nsmatrixlistwise.h"
#include "nsmatrixpairwise.h"
#include "smatrixlistwise.h"
#include "smatrixpairwise.h"
#include "statobjects.h"
#include "workarea.h"
