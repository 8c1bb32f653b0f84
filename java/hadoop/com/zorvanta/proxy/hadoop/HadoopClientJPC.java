package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.HandleTable;
import com.zorvanta.proxy.runtime.ProxyException;
import com.zorvanta.proxy.runtime.ProxySite;
import com.zorvanta.proxy.runtime.RowSet;
import java.nio.ByteBuffer;

/**
 * The Hadoop client proxy: configurations, the HDFS service on the embedded
 * local file system, and the MapReduce entry points, which have no job engine
 * here. Every Java object that the caller holds goes through the handle table.
 */
public final class HadoopClientJPC {
  static final String VERSION = "1.6";

  private static final String CONFIGURATION = "configuration";
  private static final String HDFS = "HDFS service";
  private static final String FILE = "HDFS file";

  public HadoopClientJPC(ProxySite site) {
    String directory = site.option("JAVA_PROXY/DIRECTORY");
    site.info("Hadoop client proxy " + VERSION + " ready (file system: embedded local"
        + (directory != null ? ", directory " + directory : "") + ")");
  }

  public String getVersion() {
    return VERSION;
  }

  // ---- configurations ----

  public Object[] CreateConfig() {
    return new Object[] {HandleTable.register(new HadoopConfiguration())};
  }

  public void CfgSetUser(Long cfg, String user, String password) {
    configuration(cfg).setUser(user, password);
  }

  public void CfgSetKeyValues(Long cfg, RowSet keyValues) {
    HadoopConfiguration conf = configuration(cfg);
    for (int i = 0; keyValues != null && i < keyValues.size(); i++) {
      conf.set(keyValues.text(i, 0), keyValues.text(i, 1));
    }
  }

  public void CfgAddResourceFiles(Long cfg, RowSet files) {
    HadoopConfiguration conf = configuration(cfg);
    for (int i = 0; files != null && i < files.size(); i++) {
      conf.addResource(files.text(i, 0));
    }
  }

  public void CfgRelease(Long cfg) {
    HandleTable.release(cfg, HadoopConfiguration.class, CONFIGURATION);
  }

  // ---- HDFS service ----

  public Object[] CreateHDFS(Long cfg) {
    String defaultFs = null;
    if (cfg != null && cfg != 0) {
      HadoopConfiguration conf = configuration(cfg);
      defaultFs = conf.get("fs.defaultFS");
      if (defaultFs == null) {
        defaultFs = conf.get("fs.default.name");
      }
    }
    if (!LocalFileSystem.serves(defaultFs)) {
      throw new ProxyException(ProxyException.UNSUPPORTED, "No file system backend for"
          + " fs.defaultFS '" + defaultFs + "': this proxy has no cluster client and serves"
          + " only the local file system (fs.defaultFS file:/// or unset)");
    }
    return new Object[] {HandleTable.register(new LocalFileSystem())};
  }

  public void HDFSRelease(Long fs) {
    HandleTable.release(fs, LocalFileSystem.class, HDFS);
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
    hdfs(fs).copy(source, isTrue(sourceFlag), destination, isTrue(destinationFlag));
  }

  public Object[] HDFSMKDIR(Long fs, String path) {
    return new Object[] {hdfs(fs).mkdirs(path)};
  }

  public Object[] HDFSExists(Long fs, String path) {
    return new Object[] {hdfs(fs).exists(path)};
  }

  public Object[] HDFSDelete(Long fs, String path) {
    return new Object[] {hdfs(fs).delete(path)};
  }

  public Object[] HDFSListDir(Long fs, String path) {
    return new Object[] {hdfs(fs).list(path)};
  }

  /**
   * Mode 0 reads, 1 creates or overwrites, 2 appends (creating the file when
   * missing). `exclusive` 1 makes mode 1 fail on an existing file.
   */
  public Object[] HDFSOpenFile(Long fs, String path, Integer mode, Integer exclusive,
      Integer bufferSize) {
    LocalFileSystem local = hdfs(fs);
    int m = mode == null ? LocalFileSystem.MODE_READ : mode;
    OpenFile file = local.open(path, m, exclusive != null && exclusive == 1);
    RowSet stats;
    try {
      stats = local.stats(path);
    } catch (RuntimeException e) {
      file.close();
      throw e;
    }
    return new Object[] {HandleTable.register(file), stats};
  }

  public Object[] HDFSFileRead(Long file, Integer count) {
    if (count == null) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "No byte count given to read");
    }
    return new Object[] {HandleTable.get(file, OpenFile.class, FILE).read(count)};
  }

  public void HDFSFileWrite(Long file, ByteBuffer data) {
    HandleTable.get(file, OpenFile.class, FILE).write(data);
  }

  public void HDFSFileClose(Long file) {
    HandleTable.release(file, OpenFile.class, FILE).close();
  }

  // ---- MapReduce: no engine behind this proxy ----

  public Object[] CreateMapReduce(Long cfg) {
    throw noJobEngine("CreateMapReduce");
  }

  public Object[] MapReduceRun(Long job, RowSet properties) {
    throw noJobEngine("MapReduceRun");
  }

  public Object[] MapReduceWait(Long job) {
    throw noJobEngine("MapReduceWait");
  }

  public void MapReduceStop(Long job) {
    throw noJobEngine("MapReduceStop");
  }

  public void MapReduceRelease(Long job) {
    throw noJobEngine("MapReduceRelease");
  }

  private static ProxyException noJobEngine(String method) {
    return new ProxyException(ProxyException.UNSUPPORTED, method + ": no MapReduce job engine"
        + " is available; this proxy runs on the embedded local file system and has no"
        + " MapReduce framework or cluster to submit jobs to");
  }

  private static HadoopConfiguration configuration(Long handle) {
    return HandleTable.get(handle, HadoopConfiguration.class, CONFIGURATION);
  }

  private static LocalFileSystem hdfs(Long handle) {
    return HandleTable.get(handle, LocalFileSystem.class, HDFS);
  }

  private static boolean isTrue(Boolean b) {
    return b != null && b;
  }
}
