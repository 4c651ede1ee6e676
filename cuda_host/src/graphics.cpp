#define GL_GLEXT_PROTOTYPES
#include "cuda_gl_interop.h"

#include "cuda_host.h"
#include "state.h"

#include <GL/glext.h>

#include <array>
#include <memory>
#include <mutex>
#include <new>
#include <set>

struct cudaGraphicsResource
{
    GLuint texture = 0;
    bool mapped = false;
    cudaArray array;
};

namespace {

std::mutex resourcesMutex; // guards resources and their mapped flags
std::set<cudaGraphicsResource*>& resources()
{
    // Never destroyed: resources may stay registered until the process ends.
    static auto* const instance = new std::set<cudaGraphicsResource*>;
    return *instance;
}

bool hasGraphicsContext()
{
    return glGetString(GL_VERSION) != nullptr;
}

/// Binds the texture for the life of the object, and restores the user's binding afterwards.
class BoundTexture
{
public:
    explicit BoundTexture(GLuint texture)
    {
        glGetIntegerv(GL_TEXTURE_BINDING_2D, &m_before);
        glBindTexture(GL_TEXTURE_2D, texture);
    }
    ~BoundTexture() { glBindTexture(GL_TEXTURE_2D, static_cast<GLuint>(m_before)); }
    BoundTexture(const BoundTexture&) = delete;
    BoundTexture& operator=(const BoundTexture&) = delete;

private:
    GLint m_before = 0;
};

/// Sets the unpack state for rows of 4-byte pixels in client memory, and restores the user's state
/// afterwards.
class UnpackState
{
public:
    explicit UnpackState(std::size_t rowLength)
    {
        glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &m_buffer);
        glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
        const GLint wanted[] = {static_cast<GLint>(rowLength), 0, 0, 4, GL_FALSE, GL_FALSE};
        for (int i = 0; i < count; ++i) {
            glGetIntegerv(names[i], &m_before[i]);
            glPixelStorei(names[i], wanted[i]);
        }
    }
    ~UnpackState()
    {
        for (int i = 0; i < count; ++i) {
            glPixelStorei(names[i], m_before[i]);
        }
        glBindBuffer(GL_PIXEL_UNPACK_BUFFER, static_cast<GLuint>(m_buffer));
    }
    UnpackState(const UnpackState&) = delete;
    UnpackState& operator=(const UnpackState&) = delete;

private:
    static constexpr int count = 6;
    static constexpr GLenum names[count] = {GL_UNPACK_ROW_LENGTH,  GL_UNPACK_SKIP_ROWS,
                                            GL_UNPACK_SKIP_PIXELS, GL_UNPACK_ALIGNMENT,
                                            GL_UNPACK_SWAP_BYTES,  GL_UNPACK_LSB_FIRST};
    GLint m_before[count] = {};
    GLint m_buffer = 0;
};

void upload(cudaGraphicsResource& resource)
{
    const cudaArray& array = resource.array;
    if (array.written.empty()) {
        return;
    }
    const BoundTexture bound(resource.texture);
    const UnpackState unpack(array.width);
    for (const cudaArray::Rectangle& part : array.written) {
        glTexSubImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(part.x), static_cast<GLint>(part.y),
                        static_cast<GLsizei>(part.width), static_cast<GLsizei>(part.height),
                        GL_RGBA, GL_UNSIGNED_BYTE,
                        array.bytes.data() + (part.y * array.width + part.x) * 4);
    }
}

/// Success if every resource is registered and has the given mapped state.
cudaError_t checkAll(int count, cudaGraphicsResource_t* list, bool mapped)
{
    if (count <= 0 || list == nullptr) {
        return cudaErrorInvalidValue;
    }
    for (int i = 0; i < count; ++i) {
        if (resources().count(list[i]) == 0) {
            return cudaErrorInvalidResourceHandle;
        }
        if (list[i]->mapped != mapped) {
            return mapped ? cudaErrorNotMapped : cudaErrorAlreadyMapped;
        }
        for (int k = 0; k < i; ++k) {
            if (list[k] == list[i]) {
                return cudaErrorInvalidValue;
            }
        }
    }
    return hasGraphicsContext() ? cudaSuccess : cudaErrorInvalidGraphicsContext;
}

} // namespace

namespace cuda_host {

std::size_t registeredResources()
{
    const std::lock_guard<std::mutex> lock(resourcesMutex);
    return resources().size();
}

bool isMappedArray(const cudaArray* array)
{
    const std::lock_guard<std::mutex> lock(resourcesMutex);
    for (const cudaGraphicsResource* resource : resources()) {
        if (&resource->array == array) {
            return resource->mapped;
        }
    }
    return false;
}

} // namespace cuda_host

extern "C" {

cudaError_t cudaGraphicsGLRegisterImage(cudaGraphicsResource_t* resource, GLuint image,
                                        GLenum target, unsigned int flags)
{
    CUDA_HOST_RUNTIME_CALL();
    // The flags are read-only, write-discard, surface load/store and gather.
    if (resource == nullptr || target != GL_TEXTURE_2D || flags > 15) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    if (!hasGraphicsContext()) {
        return cuda_host::report(cudaErrorInvalidGraphicsContext);
    }
    if (glIsTexture(image) == GL_FALSE) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    GLint width = 0;
    GLint height = 0;
    {
        const BoundTexture bound(image);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
        glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &height);
        for (const GLenum channel :
             std::array<GLenum, 4>{GL_TEXTURE_RED_SIZE, GL_TEXTURE_GREEN_SIZE, GL_TEXTURE_BLUE_SIZE,
                                   GL_TEXTURE_ALPHA_SIZE}) {
            GLint bits = 0;
            glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, channel, &bits);
            if (bits != 8) {
                return cuda_host::report(cudaErrorInvalidValue);
            }
        }
    }
    if (width <= 0 || height <= 0) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    auto made = std::make_unique<cudaGraphicsResource>();
    made->texture = image;
    made->array.width = static_cast<std::size_t>(width);
    made->array.height = static_cast<std::size_t>(height);
    try {
        made->array.bytes.resize(made->array.width * made->array.height * 4);
    } catch (const std::bad_alloc&) {
        return cuda_host::report(cudaErrorMemoryAllocation);
    }
    const std::lock_guard<std::mutex> lock(resourcesMutex);
    resources().insert(made.get());
    *resource = made.release();
    return cudaSuccess;
}

cudaError_t cudaGraphicsMapResources(int count, cudaGraphicsResource_t* list, cudaStream_t stream)
{
    CUDA_HOST_RUNTIME_CALL();
    static_cast<void>(stream); // there is one stream, and it is always idle
    const std::lock_guard<std::mutex> lock(resourcesMutex);
    const cudaError_t error = checkAll(count, list, false);
    if (error == cudaSuccess) {
        for (int i = 0; i < count; ++i) {
            list[i]->array.written.clear();
            list[i]->mapped = true;
        }
    }
    return cuda_host::report(error);
}

cudaError_t cudaGraphicsUnmapResources(int count, cudaGraphicsResource_t* list, cudaStream_t stream)
{
    CUDA_HOST_RUNTIME_CALL();
    static_cast<void>(stream);
    const std::lock_guard<std::mutex> lock(resourcesMutex);
    const cudaError_t error = checkAll(count, list, true);
    if (error != cudaSuccess) {
        return cuda_host::report(error);
    }
    cudaError_t result = cudaSuccess;
    for (int i = 0; i < count; ++i) {
        list[i]->mapped = false;
        if (glIsTexture(list[i]->texture) == GL_FALSE) {
            result = cudaErrorUnknown; // deleted while it was mapped
            continue;
        }
        upload(*list[i]);
    }
    return cuda_host::report(result);
}

cudaError_t cudaGraphicsSubResourceGetMappedArray(cudaArray_t* array,
                                                  cudaGraphicsResource_t resource,
                                                  unsigned int arrayIndex, unsigned int mipLevel)
{
    CUDA_HOST_RUNTIME_CALL();
    if (array == nullptr || arrayIndex != 0 || mipLevel != 0) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    const std::lock_guard<std::mutex> lock(resourcesMutex);
    if (resources().count(resource) == 0) {
        return cuda_host::report(cudaErrorInvalidResourceHandle);
    }
    if (!resource->mapped) {
        return cuda_host::report(cudaErrorNotMapped);
    }
    *array = &resource->array;
    return cudaSuccess;
}

cudaError_t cudaGraphicsUnregisterResource(cudaGraphicsResource_t resource)
{
    CUDA_HOST_RUNTIME_CALL();
    const std::lock_guard<std::mutex> lock(resourcesMutex);
    if (resources().erase(resource) == 0) {
        return cuda_host::report(cudaErrorInvalidResourceHandle);
    }
    delete resource;
    return cudaSuccess;
}

} // extern "C"
