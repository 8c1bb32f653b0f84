package com.zorvanta.testcluster;

import java.io.File;
import java.io.FileOutputStream;
import java.io.IOException;
import java.io.OutputStream;
import java.io.PrintWriter;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.StandardCopyOption;
import java.util.concurrent.CountDownLatch;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.HdfsConfiguration;
import org.apache.hadoop.hdfs.MiniDFSCluster;
import org.apache.hadoop.hdfs.MiniDFSNNTopology;
import org.apache.hadoop.mapreduce.v2.MiniMRYarnCluster;

/**
 * A real HDFS on loopback for the tests: a NameNode (RPC and HTTP, so WebHDFS
 * too) and DataNodes on free ports, in one JVM. It writes a `core-site.xml`
 * naming the cluster and, once the cluster answers, a ready file of key=value
 * lines; it stops cleanly on SIGTERM or when its standard input ends. With
 * --yarn it also runs YARN with one NodeManager and MapReduce's application
 * master (slow to start, so only the tests that submit jobs ask for it), and
 * the ready file names a client configuration for it (yarn=). With --ha the
 * NameNodes are a high-availability pair behind the nameservice "zohns" (ha=,
 * and a client configuration ha-site=); with --control fault tests can hurt the
 * cluster through {@link ClusterControl} (control= names its port). With
 * --kerberos the cluster is secured by an in-process KDC ({@link SecureRealm}):
 * every user has a home directory of mode 700, and the ready file names the
 * realm, its krb5.conf, the users' principals, a user keytab and the file
 * (mode 600) that holds the users' passwords.
 *
 * <pre>
 * TestCluster --dir DIR [--datanodes N] [--ha] [--control] [--yarn] [--kerberos] [--stop-on-eof]
 * </pre>
 */
public final class TestCluster {
  /** A directory the tests' default user cannot enter: owned by another user, mode 700. */
  static final String PRIVATE_DIR = "/zoh-private";
  static final String PRIVATE_OWNER = "zoh-other";
  static final String NAMESERVICE = "zohns";

  private TestCluster() {}

  public static void main(String[] args) {
    try {
      run(args);
    } catch (Exception | LinkageError e) {
      // The cluster's own threads would keep this process alive and the caller waiting.
      e.printStackTrace();
      System.exit(1);
    }
  }

  private static void run(String[] args) throws Exception {
    File dir = null;
    int dataNodes = 1;
    boolean stopOnEof = false;
    boolean yarn = false;
    boolean ha = false;
    boolean control = false;
    boolean kerberos = false;
    for (int i = 0; i < args.length; i++) {
      switch (args[i]) {
        case "--dir":
          dir = new File(args[++i]).getAbsoluteFile();
          break;
        case "--datanodes":
          dataNodes = Integer.parseInt(args[++i]);
          break;
        case "--yarn":
          yarn = true;
          break;
        case "--ha":
          ha = true;
          break;
        case "--control":
          control = true;
          break;
        case "--kerberos":
          kerberos = true;
          break;
        case "--stop-on-eof":
          stopOnEof = true;
          break;
        default:
          System.err.println("usage: TestCluster --dir DIR [--datanodes N] [--ha] [--control] [--yarn]"
              + " [--kerberos] [--stop-on-eof]");
          System.exit(2);
      }
    }
    if (dir == null) {
      System.err.println("TestCluster: --dir is required");
      System.exit(2);
    }
    if (kerberos && (ha || yarn)) {
      // Their nodes would need principals, keytabs and site keys of their own.
      System.err.println("TestCluster: --kerberos secures a plain HDFS only, not --ha or --yarn");
      System.exit(2);
    }
    File ready = new File(dir, "cluster.env");
    Files.deleteIfExists(ready.toPath());

    Configuration conf = new HdfsConfiguration();
    conf.set(MiniDFSCluster.HDFS_MINIDFS_BASEDIR, new File(dir, "data").getPath());
    conf.set("dfs.namenode.http-address", "127.0.0.1:0");
    conf.set("dfs.namenode.rpc-address", "127.0.0.1:0");
    conf.setInt("dfs.replication", Math.min(3, dataNodes));
    // Appends and pipeline recovery on a cluster this small must not ask for nodes it lacks.
    conf.set("dfs.client.block.write.replace-datanode-on-failure.policy", "NEVER");
    SecureRealm realm = kerberos ? SecureRealm.start(dir) : null;
    if (realm != null) {
      realm.secureNodes(conf);
    }
    MiniDFSCluster.Builder builder = new MiniDFSCluster.Builder(conf, new File(dir, "data"))
        .numDataNodes(dataNodes).format(true);
    if (ha) {
      builder.nnTopology(new MiniDFSNNTopology().addNameservice(
          new MiniDFSNNTopology.NSConf(NAMESERVICE)
              .addNN(new MiniDFSNNTopology.NNConf("nn1"))
              .addNN(new MiniDFSNNTopology.NNConf("nn2"))));
    } else {
      builder.nameNodePort(0).nameNodeHttpPort(0);
    }
    MiniDFSCluster cluster = builder.build();
    if (ha) {
      cluster.transitionToActive(0);
    }
    MiniMRYarnCluster mr = yarn ? new MiniMRYarnCluster("zoh", 1) : null;
    CountDownLatch stopped = new CountDownLatch(1);
    Runtime.getRuntime().addShutdownHook(new Thread(() -> {
      if (mr != null) {
        mr.stop();
      }
      cluster.shutdown(true);
      if (realm != null) {
        realm.close();
      }
      stopped.countDown();
    }, "test-cluster-shutdown"));
    cluster.waitActive();

    String hdfs = "hdfs://127.0.0.1:" + cluster.getNameNodePort(0);
    String webhdfs = "webhdfs://127.0.0.1:" + cluster.getNameNode(0).getHttpAddress().getPort();
    try (FileSystem fs = cluster.getFileSystem(0)) {
      fs.mkdirs(new Path(PRIVATE_DIR), new FsPermission((short) 0700));
      fs.setPermission(new Path(PRIVATE_DIR), new FsPermission((short) 0700));
      fs.setOwner(new Path(PRIVATE_DIR), PRIVATE_OWNER, PRIVATE_OWNER);
      fs.setPermission(new Path("/"), new FsPermission((short) 0777));
      if (realm != null) {
        realm.makeHomes(fs);
      }
    }
    File site = new File(dir, "core-site.xml");
    writeSite(site, hdfs, dataNodes, realm);
    File yarnSite = new File(dir, "yarn-client.xml");
    if (mr != null) {
      Configuration yarnConf = new Configuration(cluster.getConfiguration(0));
      yarnConf.set("fs.defaultFS", hdfs);
      // Containers on a small test machine: small heaps, and no memory checks that kill them.
      yarnConf.setInt("yarn.nodemanager.resource.memory-mb", 4096);
      yarnConf.setInt("yarn.scheduler.minimum-allocation-mb", 256);
      yarnConf.setBoolean("yarn.nodemanager.vmem-check-enabled", false);
      yarnConf.setBoolean("yarn.nodemanager.pmem-check-enabled", false);
      // Room for two application masters at once (the scheduler's default keeps
      // a second one waiting until the first ends), so that a job and a Pig run
      // can be under way together.
      yarnConf.setFloat("yarn.scheduler.capacity.maximum-am-resource-percent", 0.5f);
      try {
        mr.init(yarnConf);
        mr.start();
      } catch (RuntimeException | LinkageError e) {
        // The HDFS threads would keep this process alive and the caller waiting.
        e.printStackTrace();
        System.exit(1);
      }
      Configuration client = new Configuration(mr.getConfig());
      client.set("fs.defaultFS", hdfs);
      client.set("mapreduce.framework.name", "yarn");
      // No Hadoop installation on the nodes: containers get this process's class path.
      String classPath = String.join(",", System.getProperty("java.class.path")
          .split(File.pathSeparator));
      client.set("mapreduce.application.classpath", classPath);
      client.set("yarn.application.classpath", classPath);
      client.setInt("yarn.app.mapreduce.am.resource.mb", 512);
      client.set("yarn.app.mapreduce.am.command-opts", "-Xmx400m");
      client.setInt("mapreduce.map.memory.mb", 384);
      client.setInt("mapreduce.reduce.memory.mb", 384);
      client.set("mapreduce.map.java.opts", "-Xmx300m");
      client.set("mapreduce.reduce.java.opts", "-Xmx300m");
      try (OutputStream out = new FileOutputStream(yarnSite)) {
        onlySet(client).writeXml(out);
      }
    }
    File haSite = new File(dir, "ha-site.xml");
    if (ha) {
      writeHaSite(haSite, cluster, dataNodes);
    }
    ClusterControl controller =
        control ? new ClusterControl(cluster, ha, mr == null ? null : mr::stop) : null;
    if (controller != null) {
      controller.serveInBackground();
    }
    File partial = new File(dir, "cluster.env.partial");
    try (PrintWriter w = new PrintWriter(partial, StandardCharsets.UTF_8)) {
      w.println("hdfs=" + hdfs);
      w.println("webhdfs=" + webhdfs);
      w.println("private=" + PRIVATE_DIR);
      w.println("site=" + site.getPath());
      if (mr != null) {
        w.println("yarn=" + yarnSite.getPath());
      }
      if (ha) {
        w.println("ha=hdfs://" + NAMESERVICE);
        w.println("ha-site=" + haSite.getPath());
      }
      if (controller != null) {
        w.println("control=" + controller.port());
      }
      if (realm != null) {
        realm.describe(w);
      }
      w.println("pid=" + ProcessHandle.current().pid());
    }
    Files.move(partial.toPath(), ready.toPath(), StandardCopyOption.ATOMIC_MOVE);
    System.out.println("test cluster ready: " + hdfs + " " + webhdfs);
    System.out.flush();

    if (stopOnEof) {
      while (System.in.read() >= 0) {
        // a line from the user means nothing; the end of input stops the cluster
      }
      System.exit(0);
    }
    stopped.await();
  }

  /** What a client of this cluster needs: its address, and what a cluster this small can do. */
  private static void writeSite(File file, String defaultFs, int dataNodes, SecureRealm realm)
      throws IOException {
    Configuration site = new Configuration(false);
    if (realm != null) {
      realm.secureClient(site);
    }
    site.set("fs.defaultFS", defaultFs);
    site.setInt("dfs.replication", Math.min(3, dataNodes));
    if (dataNodes < 3) {
      site.set("dfs.client.block.write.replace-datanode-on-failure.enable", "false");
    }
    try (OutputStream out = new FileOutputStream(file)) {
      site.writeXml(out);
    }
  }

  /** A client's view of the HA pair: Hadoop's nameservice keys, no address of a single NameNode. */
  private static void writeHaSite(File file, MiniDFSCluster cluster, int dataNodes)
      throws IOException {
    Configuration site = new Configuration(false);
    site.set("fs.defaultFS", "hdfs://" + NAMESERVICE);
    site.set("dfs.nameservices", NAMESERVICE);
    site.set("dfs.ha.namenodes." + NAMESERVICE, "nn1,nn2");
    for (int i = 0; i < 2; i++) {
      site.set("dfs.namenode.rpc-address." + NAMESERVICE + ".nn" + (i + 1),
          "127.0.0.1:" + cluster.getNameNode(i).getNameNodeAddress().getPort());
    }
    site.set("dfs.client.failover.proxy.provider." + NAMESERVICE,
        "org.apache.hadoop.hdfs.server.namenode.ha.ConfiguredFailoverProxyProvider");
    site.setInt("dfs.replication", Math.min(3, dataNodes));
    try (OutputStream out = new FileOutputStream(file)) {
      site.writeXml(out);
    }
  }

  /**
   * The keys a cluster's site file would hold: those set for this cluster, not
   * Hadoop's shipped defaults (a client reading the file must still see which
   * of its keys are at their defaults).
   */
  private static Configuration onlySet(Configuration all) {
    Configuration set = new Configuration(false);
    for (java.util.Map.Entry<String, String> e : all) {
      String[] sources = all.getPropertySources(e.getKey());
      boolean shipped = sources != null && sources.length > 0
          && sources[sources.length - 1].endsWith("-default.xml");
      if (!shipped) {
        set.set(e.getKey(), all.getRaw(e.getKey()));
      }
    }
    return set;
  }
}
