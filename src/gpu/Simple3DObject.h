/// @file
/// Coloured vertices on the CPU, copied to one vertex array object.
#pragma once

#include "camera/camera_library.h"

#include <QGLFunctions>
#include <QOpenGLVertexArrayObject>

#include <vector>

/// A list of coloured triangles or lines with a position and a rotation. addPoint() or addLine()
/// fill it; only after pushToGPU() it is drawn.
///
/// Threads: everything that uses OpenGL, including constructor and destructor, runs on the
/// interface thread with the owner's context current. setPosition() and setRotation() are plain
/// stores that the sensor thread calls too; no lock guards position and rotation, and a frame may
/// show a torn pose.
class Simple3DObject : public QGLFunctions
{
public:
    /// @param isStatic uploaded once with GL_STATIC_DRAW: points added after the first pushToGPU()
    ///                 stay on the CPU. Otherwise each push uploads with GL_DYNAMIC_DRAW.
    /// Without a current context the object works, but never draws.
    Simple3DObject(om::Translation position, bool isStatic);
    /// Does not delete the colour and element buffers; they are freed with the context.
    ~Simple3DObject();
    Simple3DObject(const Simple3DObject&) = delete;
    Simple3DObject& operator=(const Simple3DObject&) = delete;

    /// One vertex, in metres, with its colour (0.0 to 1.0). Indices count 0, 1, 2, ...: vertices
    /// are never shared.
    void addPoint(float x, float y, float z, float r, float g, float b);
    void addLine(om::Vector3<float> p1, om::Vector3<float> p2, om::Vector3<float> clr);

    /// Uploads everything. True if the object can be drawn now.
    bool pushToGPU();
    /// Empties the object; the vectors keep their capacity and the GPU keeps its copy, but nothing
    /// is drawn before the next pushToGPU().
    void clear();
    void setDrawingType(unsigned int type); ///< initially GL_TRIANGLES (4)
    void draw();

    void translate(const om::Translation& t);
    void setPosition(const om::Translation& p);
    void setRT(const om::Transform& rt);
    /// The new rotation is multiplied from the left.
    void rotate(const om::Orientation& rot);
    void rotate(const om::Rotation& rot);
    void setRotation(const om::Orientation& rot);
    void setRotation(const om::Rotation& rot);

    const om::Translation& getPosition() const;
    om::Transform getModelMatrix() const;

protected:
    std::vector<float> vertices; ///< x, y, z per vertex
    std::vector<float> colors;   ///< r, g, b per vertex
    std::vector<unsigned int> indices;
    bool isStatic;
    bool needDrawing = false; ///< the GPU copy may be drawn
    GLenum drawingType = 4;   // GL_TRIANGLES
    QOpenGLVertexArrayObject vao;
    GLuint vboID[3] = {}; ///< vertices, colours, elements
    om::Translation position;
    om::Orientation rotation;

private:
    /// Uploads the vector and binds the buffer to the attribute.
    void uploadAttribute(GLuint buffer, GLuint attribute, const std::vector<float>& values);
    GLenum usage() const;

    bool hasFunctions = false; // a context was current at construction
};

/// Three lines from the origin in the opposite direction of a vector's components, rebuilt in every
/// frame. Shows the direction of the acceleration.
class DynAxis : public Simple3DObject
{
public:
    DynAxis();

    /// Rebuilds, uploads and draws the lines, unless all three values equal the remembered ones.
    /// The line width is 20 afterwards: the caller sets its own before the next lines.
    void draw(float x, float y, float z);

private:
    // These stay zero: every other input is drawn again, so the lines never show an old frame.
    float x0 = 0.0F;
    float y0 = 0.0F;
    float z0 = 0.0F;
};
