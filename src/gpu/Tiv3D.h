/// @file
/// The meshes that represent the cameras in the 3D view.
///
/// One namespace per mesh: vertices as x, y, z in metres, one table of triangles per colour group
/// with three vertex numbers per triangle, counted from 1, and colours from 0.0 to 1.0. The view
/// paints without a depth test, so later triangles cover earlier ones.
#pragma once

#include "camera/camera_library.h"

class Simple3DObject;

/// The first model: a bar with two lens rings.
namespace TIV_obj {

extern const float vertices[56 * 3];
extern const int alluminiumTriangles[54 * 3];
extern const int darkTriangles[54 * 3];
extern const om::Vector3<float> ALLUMINIUM_COLOR;
extern const om::Vector3<float> DARK_COLOR;

} // namespace TIV_obj

/// The small model: a bar with aluminium bands and two lenses in yellow rings. tools/tiv_n_mesh.py
/// generates its tables.
namespace TIV_N_obj {

extern const float vertices[1015 * 3];
extern const int alluminiumTriangles[35 * 3];
extern const int alluminiumTriangles2[52 * 3];
extern const int alluminiumTriangles3[38 * 3];
extern const int darkTriangles[1142 * 3];
extern const int darkTriangles2[126 * 3];
extern const int greyTriangles[20 * 3];
extern const int greyTriangles2[20 * 3];
extern const int yellowTriangles[80 * 3];
extern const om::Vector3<float> ALLUMINIUM_COLOR;
extern const om::Vector3<float> DARK_COLOR;
extern const om::Vector3<float> YELLOW_COLOR;
extern const om::Vector3<float> LENS_COLOR;

} // namespace TIV_N_obj

/// Every later model: the first one's body in a darker metal.
namespace TIV_P_obj {

extern const float vertices[56 * 3];
extern const int alluminiumTriangles[54 * 3];
extern const int darkTriangles[54 * 3];
extern const om::Vector3<float> ALLUMINIUM_COLOR;
extern const om::Vector3<float> DARK_COLOR;

} // namespace TIV_P_obj

/// Adds the triangles to the object in table order, each with three vertices of one colour.
/// @param vertices  x, y, z per vertex
/// @param triangles three vertex numbers per triangle, counted from 1
void fillTIV(int nbTriangles, const float* vertices, const int* triangles, om::Vector3<float> color,
             Simple3DObject* object);
