#pragma once

// Buffers of one size that are used again when they come back.

#include <gst/gst.h>

namespace qdvm {

// Thread-safety: one thread; the buffers can be released by any, and may outlive the reserve.
class BufferReserve {
public:
    BufferReserve() = default;
    ~BufferReserve() { Close(); }
    BufferReserve(const BufferReserve&) = delete;
    BufferReserve& operator=(const BufferReserve&) = delete;

    // Null if memory is short. The caller owns the reference.
    GstBuffer* Take(gsize bytes) {
        if (bytes != size && !Open(bytes)) return nullptr;
        GstBuffer* buffer = nullptr;
        const bool isTaken = gst_buffer_pool_acquire_buffer(pool, &buffer, nullptr) == GST_FLOW_OK;
        return isTaken ? buffer : nullptr;
    }

private:
    bool Open(gsize bytes) {
        Close();
        pool = gst_buffer_pool_new();
        GstStructure* config = gst_buffer_pool_get_config(pool);
        gst_buffer_pool_config_set_params(config, nullptr, static_cast<guint>(bytes), 0, 0);
        if (!gst_buffer_pool_set_config(pool, config) || !gst_buffer_pool_set_active(pool, TRUE)) {
            Close();
            return false;
        }
        size = bytes;
        return true;
    }

    void Close() {
        if (!pool) return;
        (void)gst_buffer_pool_set_active(pool, FALSE);
        gst_clear_object(&pool);
        size = 0;
    }

    GstBufferPool* pool = nullptr;
    gsize size = 0;
};

}  // namespace qdvm
