#include "ZelKernelTrace.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ZelMatrix.h"

using namespace Zel;

TEST(KernelTrace, WritesBlendsChannelsAndMatrixBlendsInTheirFixedForms) {
    testing::internal::CaptureStderr();
    traceBlend(1, 0.5f, std::vector<double>{1.5, -2});
    traceBlend(2, 0.25f, std::vector<float>{3});
    traceBlend(3, -1.0f, std::vector<float>{});
    traceBlend(4, 0.5f, std::vector<float>{1});
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              " linear t= 0.5\n 1.5 -2\n quadratic t= 0.25\n 3\n cubic t= -1\n\n");

    testing::internal::CaptureStderr();
    traceChannelLinear<float>("translateX", 1.5f, 1, 2);
    traceChannelQuadratic<double>("rotateZ", 2.25, 0, 1, 4);
    const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    ZelMatrixBlend<float> b;
    blendMatricesLinear(identity, identity, 0.5f, b);
    traceMatrixBlendLinear(identity, identity, b);
    blendMatricesQuadratic(identity, identity, identity, 0.5f, b);
    traceMatrixBlendQuadratic(identity, identity, identity, b);
    const std::string q = "0, 0, 0, 1\n", m = " 1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "translateX 1.5,  1 : 2\nrotateZ 2.25, 0 : 1 : 4\n"
              " linear matrix interpolation\n q1: " +
                  q + " q2: " + q + " qi: " + q + " sMat:" + m + " rMat:" + m + " tMat:" + m +
                  "\n xform1:" + m + " xform2:" + m + "  xform:" + m +
                  " quadratic matrix interpolation\n q1: " + q + " q2: " + q + " q3: " + q +
                  " qi: " + q + "\n xform1:" + m + " xform2:" + m + " xform3:" + m +
                  "  xform:" + m);
}
