// Umbrella header: everything libzel exports.
#ifndef ZEL_H
#define ZEL_H

#include "GeometryZelObj.h"
#include "LocatorZelObj.h"
#include "MeshZelObj.h"
#include "NurbsZelObj.h"
#include "TransformZelObj.h"
#include "ZelCache.h"
#include "ZelChunks.h"
#include "ZelDefinitionChunks.h"
#include "ZelFile.h"
#include "ZelFileChunks.h"
#include "ZelHeader.h"
#include "ZelHelperObj.h"
#include "ZelHelperObjFactory.h"
#include "ZelInterpolation.h"
#include "ZelKinds.h"
#include "ZelMatrix.h"
#include "ZelReader.h"
#include "ZelRoMemCache.h"
#include "ZelRwMemCache.h"
#include "ZelSAMSChunk.h"
#include "ZelStatus.h"
#include "ZelTypes.h"
#include "ZelView.h"
#include "ZelWriter.h"
#include "zelUtils.h"

#endif
