// Umbrella header: everything libzel exports.
#ifndef ZEL_H
#define ZEL_H

#include "ZelFile.h"
#include "ZelHeader.h"
#include "ZelInterpolation.h"
#include "ZelMatrix.h"
#include "ZelTypes.h"

#endif
