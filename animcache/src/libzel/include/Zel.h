// Umbrella header: everything libzel exports.
#ifndef ZEL_H
#define ZEL_H

#include "ZelTypes.h"
#include "ZelHeader.h"
#include "ZelFile.h"
#include "ZelChunks.h"
#include "ZelDefinitionChunks.h"
#include "ZelFileChunks.h"
#include "ZelSAMSChunk.h"
#include "zelUtils.h"

#endif
