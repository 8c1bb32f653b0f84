package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.ProxyException;
import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.nio.file.Files;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.HashMap;
import java.util.HashSet;
import java.util.Map;
import java.util.Set;
import javax.xml.XMLConstants;
import javax.xml.parsers.DocumentBuilder;
import javax.xml.parsers.DocumentBuilderFactory;
import javax.xml.parsers.ParserConfigurationException;
import org.w3c.dom.Document;
import org.w3c.dom.Element;
import org.w3c.dom.Node;
import org.w3c.dom.NodeList;
import org.xml.sax.SAXException;
import org.xml.sax.SAXParseException;

/**
 * A Hadoop configuration as the library fills it: resource files in Hadoop's
 * XML format, read in order (a later file wins unless the key was marked final),
 * and key/values set by the caller, which win over every resource whenever they
 * were set. Values may refer to other keys or system properties with ${name}.
 */
final class HadoopConfiguration {
  private static final int MAX_SUBSTITUTIONS = 20;

  private final Map<String, String> fromResources = new HashMap<>();
  private final Set<String> finalKeys = new HashSet<>();
  private final Map<String, String> overrides = new HashMap<>();
  private String user;
  private String password;

  synchronized void set(String key, String value) {
    if (key == null || key.isEmpty()) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "A configuration key must not be empty");
    }
    overrides.put(key, value == null ? "" : value);
  }

  synchronized void setUser(String user, String password) {
    this.user = user;
    this.password = password;
  }

  synchronized String user() {
    return user;
  }

  synchronized boolean hasPassword() {
    return password != null && !password.isEmpty();
  }

  /** The value with ${...} references put in; null when the key is unset. */
  synchronized String get(String key) {
    String raw = overrides.containsKey(key) ? overrides.get(key) : fromResources.get(key);
    return raw == null ? null : substitute(raw);
  }

  synchronized void addResource(String name) {
    Path path = resourcePath(name);
    try (InputStream in = Files.newInputStream(path)) {
      parse(name, in);
    } catch (NoSuchFileException e) {
      throw new ProxyException(ProxyException.NOT_FOUND,
          "Configuration resource file '" + name + "' does not exist", e);
    } catch (java.nio.file.AccessDeniedException e) {
      throw new ProxyException(ProxyException.PERMISSION_DENIED,
          "Configuration resource file '" + name + "' cannot be read: permission denied", e);
    } catch (IOException e) {
      throw new ProxyException(ProxyException.IO,
          "Configuration resource file '" + name + "' cannot be read", e);
    }
  }

  private static Path resourcePath(String name) {
    if (name == null || name.isEmpty()) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "A configuration resource file name must not be empty");
    }
    if (name.startsWith("file:")) {
      try {
        return Paths.get(java.net.URI.create(name));
      } catch (IllegalArgumentException e) {
        throw new ProxyException(ProxyException.INVALID_ARGUMENT,
            "Configuration resource '" + name + "' is not a usable file URI", e);
      }
    }
    return new File(name).toPath();
  }

  private void parse(String name, InputStream in) throws IOException {
    Document doc;
    try {
      doc = newBuilder().parse(in);
    } catch (SAXParseException e) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "Configuration resource file '"
          + name + "' is not valid XML at line " + e.getLineNumber() + ": " + e.getMessage(), e);
    } catch (SAXException e) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT,
          "Configuration resource file '" + name + "' is not valid XML: " + e.getMessage(), e);
    }
    Element root = doc.getDocumentElement();
    if (!"configuration".equals(root.getTagName())) {
      throw new ProxyException(ProxyException.INVALID_ARGUMENT, "Configuration resource file '"
          + name + "' has root element <" + root.getTagName() + ">, not <configuration>");
    }
    NodeList properties = root.getElementsByTagName("property");
    Map<String, String> parsed = new HashMap<>();
    Set<String> parsedFinal = new HashSet<>();
    for (int i = 0; i < properties.getLength(); i++) {
      Element property = (Element) properties.item(i);
      String key = childText(property, "name");
      if (key == null || key.isEmpty()) {
        throw new ProxyException(ProxyException.INVALID_ARGUMENT, "Configuration resource file '"
            + name + "' has a <property> without a <name> (property " + (i + 1) + ")");
      }
      String value = childText(property, "value");
      parsed.put(key, value == null ? "" : value);
      if ("true".equals(childText(property, "final"))) {
        parsedFinal.add(key);
      }
    }
    // Only a complete file takes effect, so a bad file leaves the configuration as it was.
    for (Map.Entry<String, String> e : parsed.entrySet()) {
      if (!finalKeys.contains(e.getKey())) {
        fromResources.put(e.getKey(), e.getValue());
      }
    }
    finalKeys.addAll(parsedFinal);
  }

  private static DocumentBuilder newBuilder() {
    try {
      DocumentBuilderFactory factory = DocumentBuilderFactory.newInstance();
      // Resource files are data; they must not reach out to other files or hosts.
      factory.setFeature(XMLConstants.FEATURE_SECURE_PROCESSING, true);
      factory.setFeature("http://apache.org/xml/features/disallow-doctype-decl", true);
      factory.setExpandEntityReferences(false);
      factory.setIgnoringComments(true);
      DocumentBuilder builder = factory.newDocumentBuilder();
      // The default handler prints to the process's stderr; the caller gets the error instead.
      builder.setErrorHandler(new org.xml.sax.helpers.DefaultHandler() {
        @Override
        public void error(SAXParseException e) throws SAXException {
          throw e;
        }

        @Override
        public void fatalError(SAXParseException e) throws SAXException {
          throw e;
        }
      });
      return builder;
    } catch (ParserConfigurationException e) {
      throw new ProxyException(ProxyException.GENERAL, "The JDK's XML parser is not usable", e);
    }
  }

  private static String childText(Element parent, String tag) {
    for (Node n = parent.getFirstChild(); n != null; n = n.getNextSibling()) {
      if (n instanceof Element && tag.equals(((Element) n).getTagName())) {
        return n.getTextContent().trim();
      }
    }
    return null;
  }

  private String substitute(String value) {
    String result = value;
    int from = 0;
    for (int round = 0; round < MAX_SUBSTITUTIONS; round++) {
      int start = result.indexOf("${", from);
      int end = start < 0 ? -1 : result.indexOf('}', start + 2);
      if (end < 0) {
        return result;
      }
      String name = result.substring(start + 2, end);
      String replacement = overrides.containsKey(name) ? overrides.get(name)
          : fromResources.containsKey(name) ? fromResources.get(name)
          : System.getProperty(name);
      if (replacement == null) {
        from = end + 1;  // Hadoop leaves unknown references as they stand.
        continue;
      }
      result = result.substring(0, start) + replacement + result.substring(end + 1);
      from = start;  // the replacement may itself hold references
    }
    return result;
  }
}
