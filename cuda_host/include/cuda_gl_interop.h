/// @file
/// Registration of an OpenGL texture, on host memory.
#pragma once

#include <cuda_runtime_api.h>

#include <GL/gl.h>

extern "C" {

/// GL_TEXTURE_2D with four 8-bit channels only. The OpenGL context of the texture must be current.
cudaError_t cudaGraphicsGLRegisterImage(cudaGraphicsResource_t* resource, GLuint image,
                                        GLenum target, unsigned int flags);

} // extern "C"
