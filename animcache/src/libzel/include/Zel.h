// Umbrella header: everything libzel exports.
#ifndef ZEL_H
#define ZEL_H

#include "ZelChunks.h"
#include "ZelDefinitionChunks.h"
#include "ZelFile.h"
#include "ZelFileChunks.h"
#include "ZelHeader.h"
#include "ZelInterpolation.h"
#include "ZelMatrix.h"
#include "ZelSAMSChunk.h"
#include "ZelTypes.h"
#include "zelUtils.h"

#endif
