#include "gpu/Tiv3D.h"

#include "gpu/Simple3DObject.h"

void fillTIV(int nbTriangles, const float* vertices, const int* triangles, om::Vector3<float> color,
             Simple3DObject* object)
{
    for (int corner = 0; corner < 3 * nbTriangles; ++corner) {
        const float* const vertex = vertices + 3 * (triangles[corner] - 1);
        object->addPoint(vertex[0], vertex[1], vertex[2], color.x, color.y, color.z);
    }
}

namespace TIV_obj {

#include "gpu/tiv_body.inc"

const om::Vector3<float> ALLUMINIUM_COLOR{0.64F, 0.64F, 0.64F};
const om::Vector3<float> DARK_COLOR{0.0F, 0.0F, 0.0F};

} // namespace TIV_obj

namespace TIV_P_obj {

#include "gpu/tiv_body.inc"

const om::Vector3<float> ALLUMINIUM_COLOR{0.2F, 0.2F, 0.2F};
const om::Vector3<float> DARK_COLOR{0.0F, 0.0F, 0.0F};

} // namespace TIV_P_obj
