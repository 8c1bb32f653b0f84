package com.zorvanta.proxy.runtime;

import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.atomic.AtomicLong;

/**
 * The Java objects that native callers hold by 64-bit handle. One table serves
 * every proxy of the process, so that a proxy created beneath another (a Pig
 * client beneath the Hadoop client) can use the handles the other gave out.
 * Handles are never reused, so a stale handle is always detected.
 */
public final class HandleTable {
  private static final ConcurrentHashMap<Long, Object> OBJECTS = new ConcurrentHashMap<>();
  private static final AtomicLong NEXT = new AtomicLong(1);

  private HandleTable() {}

  public static long register(Object object) {
    if (object == null) {
      throw new IllegalArgumentException("a null object cannot get a handle");
    }
    long handle = NEXT.getAndIncrement();
    OBJECTS.put(handle, object);
    return handle;
  }

  /** The object behind a handle; `what` names the expected kind in errors. */
  public static <T> T get(Long handle, Class<T> kind, String what) {
    Object object = lookup(handle, what);
    if (!kind.isInstance(object)) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "Handle " + handle + " is not a " + what + " handle");
    }
    return kind.cast(object);
  }

  /** Forgets a handle and returns its object. */
  public static <T> T release(Long handle, Class<T> kind, String what) {
    T object = get(handle, kind, what);
    OBJECTS.remove(handle, object);
    return object;
  }

  public static int size() {
    return OBJECTS.size();
  }

  private static Object lookup(Long handle, String what) {
    if (handle == null || handle == 0) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "No " + what + " handle given");
    }
    Object object = OBJECTS.get(handle);
    if (object == null) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "Unknown or released " + what + " handle " + handle);
    }
    return object;
  }
}
