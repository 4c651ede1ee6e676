#include "gpu/Simple3DObject.h"

#include "gpu/vectors.h"

#include <QOpenGLContext>

Simple3DObject::Simple3DObject(om::Translation newPosition, bool newIsStatic)
    : isStatic(newIsStatic), position(newPosition)
{
    if (QOpenGLContext::currentContext() != nullptr) {
        initializeGLFunctions();
        hasFunctions = true;
    }
}

Simple3DObject::~Simple3DObject()
{
    needDrawing = false;
    if (hasFunctions) {
        vao.release();
        glDeleteBuffers(1, vboID);
    }
}

void Simple3DObject::addPoint(float x, float y, float z, float r, float g, float b)
{
    vertices.push_back(x);
    vertices.push_back(y);
    vertices.push_back(z);
    colors.push_back(r);
    colors.push_back(g);
    colors.push_back(b);
    indices.push_back(static_cast<unsigned int>(indices.size()));
}

void Simple3DObject::addLine(om::Vector3<float> p1, om::Vector3<float> p2, om::Vector3<float> clr)
{
    addPoint(p1.x, p1.y, p1.z, clr.x, clr.y, clr.z);
    addPoint(p2.x, p2.y, p2.z, clr.x, clr.y, clr.z);
}

GLenum Simple3DObject::usage() const
{
    return isStatic ? GL_STATIC_DRAW : GL_DYNAMIC_DRAW;
}

void Simple3DObject::uploadAttribute(GLuint buffer, GLuint attribute,
                                     const std::vector<float>& values)
{
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glBufferData(GL_ARRAY_BUFFER, static_cast<qopengl_GLsizeiptr>(values.size() * sizeof(float)),
                 values.data(), usage());
    glVertexAttribPointer(attribute, 3, GL_FLOAT, GL_FALSE, 0, nullptr);
    glEnableVertexAttribArray(attribute);
}

bool Simple3DObject::pushToGPU()
{
    if (!hasFunctions) {
        return false;
    }
    if (isStatic && vao.isCreated()) {
        return needDrawing;
    }
    needDrawing = false;
    if (!vao.isCreated()) {
        vao.create();
        glGenBuffers(3, vboID);
    }
    vao.bind();
    uploadAttribute(vboID[0], 0, vertices);
    uploadAttribute(vboID[1], 1, colors);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, vboID[2]);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER,
                 static_cast<qopengl_GLsizeiptr>(indices.size() * sizeof(unsigned int)),
                 indices.data(), usage());
    vao.release();
    // A buffer left bound would break a QPainter on the same widget.
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    needDrawing = true;
    return true;
}

void Simple3DObject::clear()
{
    needDrawing = false;
    vertices.clear();
    colors.clear();
    indices.clear();
}

void Simple3DObject::setDrawingType(unsigned int type)
{
    drawingType = type;
}

void Simple3DObject::draw()
{
    if (!needDrawing) {
        return;
    }
    vao.bind();
    glDrawElements(drawingType, static_cast<GLsizei>(indices.size()), GL_UNSIGNED_INT, nullptr);
    vao.release();
}

void Simple3DObject::translate(const om::Translation& t)
{
    position = sum(position, t);
}

void Simple3DObject::setPosition(const om::Translation& p)
{
    position = p;
}

void Simple3DObject::setRT(const om::Transform& rt)
{
    position = rt.getTranslation();
    rotation = rt.getOrientation();
}

void Simple3DObject::rotate(const om::Orientation& rot)
{
    rotation = rot * rotation;
}

void Simple3DObject::rotate(const om::Rotation& rot)
{
    rotate(om::Orientation(rot));
}

void Simple3DObject::setRotation(const om::Orientation& rot)
{
    rotation = rot;
}

void Simple3DObject::setRotation(const om::Rotation& rot)
{
    setRotation(om::Orientation(rot));
}

const om::Translation& Simple3DObject::getPosition() const
{
    return position;
}

om::Transform Simple3DObject::getModelMatrix() const
{
    om::Transform model;
    model.setIdentity();
    model.setOrientation(rotation);
    model.setTranslation(position);
    return model;
}

DynAxis::DynAxis() : Simple3DObject(om::Translation(0.0F, 0.0F, 0.0F), false) {}

void DynAxis::draw(float x, float y, float z)
{
    if (x == x0 && y == y0 && z == z0) {
        return;
    }
    clear();
    setDrawingType(GL_LINES);
    const om::Vector3<float> origin{0.0F, 0.0F, 0.0F};
    addLine(origin, {x * -0.15F, 0.0F, 0.0F}, colour(200, 70, 70));
    addLine(origin, {0.0F, y * -0.15F, 0.0F}, colour(40, 200, 125));
    addLine(origin, {0.0F, 0.0F, z * -0.15F}, colour(0, 100, 200));
    pushToGPU();
    glLineWidth(20.0F);
    Simple3DObject::draw();
}
