#ifndef HOST_TABLE_TABLE_H
#define HOST_TABLE_TABLE_H

/// Bytes to typed rows: Input finds the rows of the files, RowParser reads their cells.

#include "table/chunk.h"
#include "table/column.h"
#include "table/format.h"
#include "table/input.h"
#include "table/inputerror.h"
#include "table/rowparser.h"

#endif
