package com.zorvanta.proxy.hadoop;

/**
 * The class loader of the configurations that services are made from: the
 * proxy's own, except that it does not offer MapReduce's JobConf. Hadoop's
 * ReflectionUtils looks JobConf up through the configuration whenever it makes
 * an object from one (a file system, a socket factory), to configure old-API
 * objects; finding it initialises it, which registers MapReduce's default
 * resources and deprecations, loads a few dozen MapReduce classes and makes
 * every configuration of the process parse its default resources again. A file
 * system needs none of that. Hadoop's own static configurations (the user's,
 * the security settings') take their loader from the thread when first made,
 * so services are made with this loader as the thread's. A MapReduce job sets
 * a loader of its own on its configuration and finds JobConf as before.
 */
final class ServiceClassLoader extends ClassLoader {
  static {
    registerAsParallelCapable();
  }

  static final ClassLoader INSTANCE =
      new ServiceClassLoader(ServiceClassLoader.class.getClassLoader());

  private static final String HIDDEN = "org.apache.hadoop.mapred.JobConf";

  /** Makes a service with this loader as the thread's context class loader. */
  static <T> T making(java.util.function.Supplier<T> service) {
    Thread thread = Thread.currentThread();
    ClassLoader previous = thread.getContextClassLoader();
    thread.setContextClassLoader(INSTANCE);
    try {
      return service.get();
    } finally {
      thread.setContextClassLoader(previous);
    }
  }

  private ServiceClassLoader(ClassLoader parent) {
    super("hadoop-services", parent);
  }

  @Override
  protected Class<?> loadClass(String name, boolean resolve) throws ClassNotFoundException {
    if (HIDDEN.equals(name)) {
      throw new ClassNotFoundException(name);
    }
    return super.loadClass(name, resolve);
  }
}
