package com.zorvanta.testcluster;

import java.io.File;
import java.io.IOException;
import java.io.PrintWriter;
import java.io.Writer;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.attribute.PosixFilePermissions;
import java.security.SecureRandom;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Properties;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.FileSystem;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.minikdc.MiniKdc;
import org.apache.hadoop.security.UserGroupInformation;

/**
 * The Kerberos half of a secured test cluster: Hadoop's in-process KDC, one
 * service principal for the NameNode and DataNode (with its HTTP principal, in
 * one keytab), two users who log in with passwords and one who logs in with a
 * keytab. The passwords are made afresh for every cluster, so a test can look
 * for them in everything its run wrote; they go to a file only its owner can
 * read, never onto a command line or into the ready file.
 */
final class SecureRealm implements AutoCloseable {
  static final String[] PASSWORD_USERS = {"alice", "bob"};
  static final String KEYTAB_USER = "carol";
  /** One principal for both kinds of node: UGI keeps one login per JVM, and both run in this. */
  private static final String SERVICE = "hdfs/localhost";
  private static final String HTTP = "HTTP/localhost";

  private final MiniKdc kdc;
  private final File serviceKeytab;
  private final File userKeytab;
  private final File passwords;

  private SecureRealm(MiniKdc kdc, File serviceKeytab, File userKeytab, File passwords) {
    this.kdc = kdc;
    this.serviceKeytab = serviceKeytab;
    this.userKeytab = userKeytab;
    this.passwords = passwords;
  }

  static SecureRealm start(File dir) throws Exception {
    File work = new File(dir, "kdc");
    if (!work.mkdirs()) {
      throw new IOException("cannot make " + work);
    }
    Properties kdcConf = MiniKdc.createConf();
    MiniKdc kdc = new MiniKdc(kdcConf, work);
    // Sets java.security.krb5.conf for this JVM: the nodes find the KDC through it.
    kdc.start();
    File serviceKeytab = new File(work, "hdfs.keytab");
    kdc.createPrincipal(serviceKeytab, SERVICE, HTTP);
    File userKeytab = new File(work, KEYTAB_USER + ".keytab");
    kdc.createPrincipal(userKeytab, KEYTAB_USER);
    Map<String, String> secrets = new LinkedHashMap<>();
    SecureRandom random = new SecureRandom();
    for (String user : PASSWORD_USERS) {
      String password = randomPassword(random);
      kdc.createPrincipal(user, password);
      secrets.put(user + "@" + kdc.getRealm(), password);
    }
    File passwords = new File(dir, "passwords");
    Files.createFile(passwords.toPath(),
        PosixFilePermissions.asFileAttribute(PosixFilePermissions.fromString("rw-------")));
    try (Writer w = Files.newBufferedWriter(passwords.toPath(), StandardCharsets.UTF_8)) {
      for (Map.Entry<String, String> e : secrets.entrySet()) {
        w.write(e.getKey() + "=" + e.getValue() + "\n");
      }
    }
    return new SecureRealm(kdc, serviceKeytab, userKeytab, passwords);
  }

  /** Letters and digits only: nothing a file of key=value lines or a shell would read otherwise. */
  private static String randomPassword(SecureRandom random) {
    String alphabet = "ABCDEFGHJKLMNPQRSTUVWXYZabcdefghijkmnopqrstuvwxyz23456789";
    StringBuilder b = new StringBuilder("zohpw");
    for (int i = 0; i < 20; i++) {
      b.append(alphabet.charAt(random.nextInt(alphabet.length())));
    }
    return b.toString();
  }

  String principal(String user) {
    return user + "@" + kdc.getRealm();
  }

  /**
   * The nodes' side: Kerberos for RPC, block access tokens for the DataNodes,
   * and the DataNodes on ordinary ports without TLS for their web server
   * (Hadoop accepts that only with ignore.secure.ports.for.testing).
   */
  void secureNodes(Configuration conf) {
    String service = principal(SERVICE);
    conf.set("hadoop.security.authentication", "kerberos");
    conf.setBoolean("dfs.block.access.token.enable", true);
    conf.set("dfs.namenode.kerberos.principal", service);
    conf.set("dfs.namenode.keytab.file", serviceKeytab.getPath());
    conf.set("dfs.datanode.kerberos.principal", service);
    conf.set("dfs.datanode.keytab.file", serviceKeytab.getPath());
    conf.set("dfs.web.authentication.kerberos.principal", principal(HTTP));
    conf.set("dfs.web.authentication.kerberos.keytab", serviceKeytab.getPath());
    conf.set("dfs.data.transfer.protection", "authentication");
    conf.setBoolean("ignore.secure.ports.for.testing", true);
    UserGroupInformation.setConfiguration(conf);
  }

  /** What a client needs besides its own credentials: the mechanism, the NameNode's principal. */
  void secureClient(Configuration site) {
    site.set("hadoop.security.authentication", "kerberos");
    site.set("dfs.namenode.kerberos.principal", principal(SERVICE));
    site.set("dfs.data.transfer.protection", "authentication");
  }

  /** /user/NAME for every user of the realm, theirs alone (mode 700). */
  void makeHomes(FileSystem fs) throws IOException {
    fs.mkdirs(new Path("/user"), new FsPermission((short) 0755));
    List<String> users = new ArrayList<>(Arrays.asList(PASSWORD_USERS));
    users.add(KEYTAB_USER);
    for (String user : users) {
      Path home = new Path("/user/" + user);
      fs.mkdirs(home);
      fs.setPermission(home, new FsPermission((short) 0700));
      fs.setOwner(home, user, user);
    }
  }

  /** The ready file's keys: everything a test needs to log in, but no password. */
  void describe(PrintWriter w) {
    w.println("realm=" + kdc.getRealm());
    w.println("krb5=" + kdc.getKrb5conf().getAbsolutePath());
    for (int i = 0; i < PASSWORD_USERS.length; i++) {
      w.println("user" + (i + 1) + "=" + principal(PASSWORD_USERS[i]));
    }
    w.println("keytab-user=" + principal(KEYTAB_USER));
    w.println("keytab=" + userKeytab.getAbsolutePath());
    w.println("passwords=" + passwords.getAbsolutePath());
  }

  @Override
  public void close() {
    kdc.stop();
  }
}
