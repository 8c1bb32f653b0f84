package com.zorvanta.testcluster;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.io.PrintWriter;
import java.net.InetAddress;
import java.net.ServerSocket;
import java.net.Socket;
import java.nio.charset.StandardCharsets;
import java.util.ArrayList;
import java.util.List;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.SafeModeAction;
import org.apache.hadoop.hdfs.DistributedFileSystem;
import org.apache.hadoop.hdfs.MiniDFSCluster;
import org.apache.hadoop.hdfs.protocol.HdfsConstants;

/**
 * A line protocol on a loopback port through which fault tests hurt the
 * cluster: one command a line, one answer a line ("ok", or "error: why"). A
 * command returns once the cluster is in the state it asked for, so tests
 * never sleep to wait for it.
 *
 * <pre>
 * stop-datanode I                          the I-th running DataNode (its blocks stay on disk)
 * restart-datanodes                        every stopped DataNode, on its old ports
 * failover                                 the standby NameNode becomes active
 * safemode enter|leave
 * space-quota PATH BYTES                   BYTES 0 clears it
 * populate DIR N                           N empty files DIR/f0 ... (made here: fast)
 * stop-all | restart-all                   every NameNode and DataNode
 * stop-yarn                                YARN and MapReduce's servers (with --yarn)
 * active                                   the index of the active NameNode
 * </pre>
 */
final class ClusterControl {
  private final MiniDFSCluster cluster;
  private final boolean ha;
  private final Runnable stopYarn;
  private final ServerSocket server;
  private final List<MiniDFSCluster.DataNodeProperties> stopped = new ArrayList<>();
  private int active;

  ClusterControl(MiniDFSCluster cluster, boolean ha, Runnable stopYarn) throws IOException {
    this.cluster = cluster;
    this.ha = ha;
    this.stopYarn = stopYarn;
    this.server = new ServerSocket(0, 4, InetAddress.getLoopbackAddress());
  }

  int port() {
    return server.getLocalPort();
  }

  void serveInBackground() {
    Thread t = new Thread(() -> {
      while (true) {
        try (Socket s = server.accept();
             BufferedReader in = new BufferedReader(
                 new InputStreamReader(s.getInputStream(), StandardCharsets.UTF_8));
             PrintWriter out = new PrintWriter(s.getOutputStream(), true, StandardCharsets.UTF_8)) {
          for (String line; (line = in.readLine()) != null; ) {
            out.println(answer(line.trim()));
          }
        } catch (IOException e) {
          if (server.isClosed()) {
            return;
          }
        }
      }
    }, "test-cluster-control");
    t.setDaemon(true);
    t.start();
  }

  private synchronized String answer(String line) {
    String[] w = line.split("\\s+");
    try {
      switch (w[0]) {
        case "stop-datanode":
          stopped.add(cluster.stopDataNode(Integer.parseInt(w[1])));
          return "ok";
        case "restart-datanodes":
          restartStopped();
          cluster.waitActive();
          return "ok";
        case "failover":
          if (!ha) {
            return "error: the cluster has one NameNode";
          }
          cluster.transitionToStandby(active);
          active = 1 - active;
          cluster.transitionToActive(active);
          return "ok";
        case "safemode":
          fs().setSafeMode("enter".equals(w[1]) ? SafeModeAction.ENTER : SafeModeAction.LEAVE);
          return "ok";
        case "space-quota":
          long bytes = Long.parseLong(w[2]);
          fs().setQuota(new Path(w[1]), HdfsConstants.QUOTA_DONT_SET,
              bytes == 0 ? HdfsConstants.QUOTA_RESET : bytes);
          return "ok";
        case "populate":
          DistributedFileSystem fs = fs();
          fs.mkdirs(new Path(w[1]));
          for (int i = 0, n = Integer.parseInt(w[2]); i < n; i++) {
            fs.create(new Path(w[1], "f" + i)).close();
          }
          return "ok";
        case "stop-all":
          while (!cluster.getDataNodes().isEmpty()) {
            stopped.add(cluster.stopDataNode(0));
          }
          for (int i = 0; i < cluster.getNumNameNodes(); i++) {
            cluster.shutdownNameNode(i);
          }
          return "ok";
        case "restart-all":
          for (int i = 0; i < cluster.getNumNameNodes(); i++) {
            cluster.restartNameNode(i, false);
          }
          if (ha) {
            active = 0;
            cluster.transitionToActive(0);
          }
          restartStopped();
          cluster.waitActive();
          waitOutOfSafeMode();
          return "ok";
        case "stop-yarn":
          if (stopYarn == null) {
            return "error: the cluster runs no YARN";
          }
          stopYarn.run();
          return "ok";
        case "active":
          return "ok " + active;
        default:
          return "error: unknown command '" + w[0] + "'";
      }
    } catch (Exception | AssertionError e) {
      return "error: " + String.valueOf(e.getMessage()).replace('\n', ' ');
    }
  }

  private void restartStopped() throws IOException {
    for (MiniDFSCluster.DataNodeProperties dn : stopped) {
      cluster.restartDataNode(dn, true);
    }
    stopped.clear();
  }

  /** A restarted NameNode stays in safe mode until the DataNodes have reported their blocks. */
  private void waitOutOfSafeMode() throws InterruptedException {
    long deadline = System.nanoTime() + 60_000_000_000L;
    while (cluster.getNameNode(active).isInSafeMode()) {
      if (System.nanoTime() > deadline) {
        throw new IllegalStateException("the NameNode stayed in safe mode for 60 s");
      }
      Thread.sleep(50);
    }
  }

  private DistributedFileSystem fs() throws IOException {
    return cluster.getFileSystem(active);
  }
}
