// Umbrella header: everything libzel exports.
#ifndef ZEL_H
#define ZEL_H

#include "ZelTypes.h"
#include "ZelHeader.h"
#include "ZelFile.h"
#include "ZelInterpolation.h"
#include "ZelMatrix.h"

#endif
