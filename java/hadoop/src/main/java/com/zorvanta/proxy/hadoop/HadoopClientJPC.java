package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.HandleTable;
import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.ProxySite;
import com.zorvanta.proxy.runtime.ProxyVersion;
import com.zorvanta.proxy.runtime.RowSet;
import java.nio.ByteBuffer;
import org.apache.hadoop.util.VersionInfo;

/**
 * The Hadoop client proxy: configurations, the HDFS service and MapReduce on
 * Apache Hadoop's own client. Every Java object that the caller holds goes
 * through the handle table.
 */
public final class HadoopClientJPC {
  static final String VERSION = ProxyVersion.of(HadoopClientJPC.class);

  private static final String CONFIGURATION = "configuration";
  private static final String HDFS = "HDFS service";
  private static final String FILE = "HDFS file";

  public HadoopClientJPC(ProxySite site) {
    HadoopLogging.configure();
    String directory = site.option("JAVA_PROXY/DIRECTORY");
    site.info("Hadoop client proxy " + VERSION + " ready (Apache Hadoop "
        + VersionInfo.getVersion() + (directory != null ? ", directory " + directory : "") + ")");
  }

  public String getVersion() {
    return VERSION + " (Apache Hadoop " + VersionInfo.getVersion() + ")";
  }

  // ---- configurations ----

  public Object[] CreateConfig() {
    return new Object[] {HandleTable.register(new ClientConfiguration())};
  }

  public void CfgSetUser(Long cfg, String user, String password) {
    configuration(cfg).setUser(user, password);
  }

  public void CfgSetKeyValues(Long cfg, RowSet keyValues) {
    ClientConfiguration conf = configuration(cfg);
    for (int i = 0; keyValues != null && i < keyValues.size(); i++) {
      conf.set(keyValues.text(i, 0), keyValues.text(i, 1));
    }
  }

  public void CfgAddResourceFiles(Long cfg, RowSet files) {
    ClientConfiguration conf = configuration(cfg);
    for (int i = 0; files != null && i < files.size(); i++) {
      conf.addResource(files.text(i, 0));
    }
  }

  public void CfgRelease(Long cfg) {
    HandleTable.release(cfg, ClientConfiguration.class, CONFIGURATION);
  }

  // ---- HDFS service ----

  public Object[] CreateHDFS(Long cfg) {
    ClientConfiguration conf = cfg == null || cfg == 0 ? new ClientConfiguration()
        : configuration(cfg);
    HdfsService service = ServiceClassLoader.making(() -> new HdfsService(conf));
    return new Object[] {HandleTable.register(service)};
  }

  public void HDFSRelease(Long fs) {
    HandleTable.release(fs, HdfsService.class, HDFS).close();
  }

  public void HDFSRename(Long fs, String from, String to) {
    hdfs(fs).rename(from, to);
  }

  /**
   * `toHdfs` true copies from the local disk to HDFS. `sourceFlag` deletes the
   * source after the copy; `destinationFlag` allows overwriting the destination.
   */
  public void HDFSCopyFile(Long fs, Boolean toHdfs, String source, Boolean sourceFlag,
      String destination, Boolean destinationFlag) {
    hdfs(fs).copy(isTrue(toHdfs), source, isTrue(sourceFlag), destination,
        isTrue(destinationFlag));
  }

  public Object[] HDFSMKDIR(Long fs, String path) {
    return new Object[] {hdfs(fs).mkdirs(path)};
  }

  public Object[] HDFSExists(Long fs, String path) {
    return new Object[] {hdfs(fs).exists(path)};
  }

  // The bridge passes present handles and counts as primitives where a method
  // takes them so: no boxing on its side for the calls made most often.
  public Object[] HDFSExists(long fs, String path) {
    return HDFSExists(Long.valueOf(fs), path);
  }

  public Object[] HDFSDelete(Long fs, String path) {
    return new Object[] {hdfs(fs).delete(path)};
  }

  public Object[] HDFSListDir(Long fs, String path) {
    return new Object[] {hdfs(fs).list(path)};
  }

  public Object[] HDFSListDir(long fs, String path) {
    return HDFSListDir(Long.valueOf(fs), path);
  }

  /**
   * Mode 0 reads, 1 creates or overwrites, 2 appends (creating the file when
   * missing). `exclusive` 1 makes mode 1 fail on an existing file.
   */
  public Object[] HDFSOpenFile(Long fs, String path, Integer mode, Integer exclusive,
      Integer bufferSize) {
    OpenFile file = hdfs(fs).open(path, mode == null ? HdfsService.MODE_READ : mode,
        exclusive != null && exclusive == 1, bufferSize == null ? 0 : bufferSize);
    return new Object[] {HandleTable.register(file), file.stats()};
  }

  public Object[] HDFSOpenFile(long fs, String path, int mode, int exclusive, int bufferSize) {
    return HDFSOpenFile(Long.valueOf(fs), path, Integer.valueOf(mode), Integer.valueOf(exclusive),
        Integer.valueOf(bufferSize));
  }

  public Object[] HDFSFileRead(Long file, Integer count) {
    if (count == null) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "No byte count given to read");
    }
    return new Object[] {HandleTable.get(file, OpenFile.class, FILE).read(count)};
  }

  public Object[] HDFSFileRead(long file, int count) {
    return HDFSFileRead(Long.valueOf(file), Integer.valueOf(count));
  }

  public void HDFSFileWrite(Long file, ByteBuffer data) {
    HandleTable.get(file, OpenFile.class, FILE).write(data);
  }

  public void HDFSFileWrite(long file, ByteBuffer data) {
    HDFSFileWrite(Long.valueOf(file), data);
  }

  public void HDFSFileClose(Long file) {
    HandleTable.release(file, OpenFile.class, FILE).close();
  }

  public void HDFSFileClose(long file) {
    HDFSFileClose(Long.valueOf(file));
  }

  // ---- MapReduce ----

  public Object[] CreateMapReduce(Long cfg) {
    return new Object[] {MapReduceJobs.create(cfg)};
  }

  public Object[] MapReduceRun(Long job, RowSet properties) {
    return MapReduceJobs.run(job, properties);
  }

  public Object[] MapReduceWait(Long job) {
    return MapReduceJobs.await(job);
  }

  public void MapReduceStop(Long job) {
    MapReduceJobs.stop(job);
  }

  public void MapReduceRelease(Long job) {
    MapReduceJobs.release(job);
  }

  static ClientConfiguration configuration(Long handle) {
    return HandleTable.get(handle, ClientConfiguration.class, CONFIGURATION);
  }

  private static HdfsService hdfs(Long handle) {
    return HandleTable.get(handle, HdfsService.class, HDFS);
  }

  private static boolean isTrue(Boolean b) {
    return b != null && b;
  }
}
