#include "gpu/shader_program.h"

#include <QGLShaderProgram>

QGLShaderProgram* makeShaderProgram(QObject* owner, const char* vertexSource,
                                    const char* fragmentSource)
{
    auto* const vertexShader = new QGLShader(QGLShader::Vertex, owner);
    vertexShader->compileSourceCode(vertexSource);
    auto* const fragmentShader = new QGLShader(QGLShader::Fragment, owner);
    fragmentShader->compileSourceCode(fragmentSource);
    auto* const program = new QGLShaderProgram(owner);
    program->addShader(vertexShader);
    program->addShader(fragmentShader);
    program->bindAttributeLocation("vertex", 0);
    program->bindAttributeLocation("texCoord", 1);
    program->link();
    program->bind();
    program->setUniformValue("texture", 0);
    program->release();
    return program;
}
