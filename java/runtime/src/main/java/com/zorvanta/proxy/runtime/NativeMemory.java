package com.zorvanta.proxy.runtime;

import java.nio.ByteBuffer;

/**
 * Output buffers in native memory. A buffer allocated during a proxy call and
 * returned as a bytes output (position 0) is handed to the caller as it is, so
 * that the bytes cross to the caller without a copy. The memory belongs to the
 * bridge: a method must not keep such a buffer beyond the call.
 */
public final class NativeMemory {
  private NativeMemory() {}

  /**
   * The buffer object last handed out on this thread: when the bridge gives
   * the same memory again (the caller freed the last read's bytes before the
   * next read), the object is reused instead of building another.
   */
  private static final ThreadLocal<ByteBuffer> LAST = new ThreadLocal<>();

  public static ByteBuffer allocate(int capacity) {
    if (capacity < 0) {
      throw new IllegalArgumentException("negative buffer size " + capacity);
    }
    ByteBuffer last = LAST.get();
    ByteBuffer buffer = allocate0(capacity, last);
    if (buffer != null) {
      if (buffer == last) {
        buffer.clear().order(java.nio.ByteOrder.BIG_ENDIAN);
      } else {
        LAST.set(buffer);
      }
    }
    // Outside a bridge call there is nobody to hand the memory to.
    return buffer != null ? buffer : ByteBuffer.allocateDirect(capacity);
  }

  /** The remaining bytes of a heap buffer, for the bridge to copy. */
  public static byte[] remaining(ByteBuffer buffer) {
    byte[] bytes = new byte[buffer.remaining()];
    buffer.duplicate().get(bytes);
    return bytes;
  }

  private static native ByteBuffer allocate0(int capacity, ByteBuffer last);
}
