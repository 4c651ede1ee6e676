/// @file
/// The preparation of a shader program that the GPU views share.
#pragma once

class QGLShaderProgram;
class QObject;

/// A linked program of two GLSL sources in the current context, with "vertex" and "texCoord" at the
/// attribute locations 0 and 1 and "texture" at unit 0. Sources that have none of these names keep
/// their own layout. What the compiler rejects, Qt reports on the console.
/// @param owner gets the program and its shaders as children
QGLShaderProgram* makeShaderProgram(QObject* owner, const char* vertexSource,
                                    const char* fragmentSource);
