package com.zorvanta.proxy.hadoop;

import com.zorvanta.proxy.runtime.ProxyException;
import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.DirectoryNotEmptyException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;
import java.nio.file.NotDirectoryException;

/** Turns an I/O failure into an error that says what was tried, where, and why. */
final class IoFailures {
  private IoFailures() {}

  static ProxyException wrap(String action, String path, IOException e) {
    return new ProxyException(code(e), action + " '" + path + "': " + reason(e), e);
  }

  static ProxyException notFound(String action, String path) {
    return new ProxyException(ProxyException.NOT_FOUND,
        action + " '" + path + "': no such file or directory");
  }

  private static int code(IOException e) {
    if (e instanceof NoSuchFileException) {
      return ProxyException.NOT_FOUND;
    }
    if (e instanceof AccessDeniedException) {
      return ProxyException.PERMISSION_DENIED;
    }
    if (e instanceof FileAlreadyExistsException) {
      return ProxyException.ALREADY_EXISTS;
    }
    return ProxyException.IO;
  }

  private static String reason(IOException e) {
    if (e instanceof NoSuchFileException) {
      return "no such file or directory";
    }
    if (e instanceof AccessDeniedException) {
      return "permission denied";
    }
    if (e instanceof FileAlreadyExistsException) {
      return "already exists";
    }
    if (e instanceof DirectoryNotEmptyException) {
      return "directory not empty";
    }
    if (e instanceof NotDirectoryException) {
      return "not a directory";
    }
    if (e instanceof FileSystemException && ((FileSystemException) e).getReason() != null) {
      return ((FileSystemException) e).getReason();
    }
    return e.getMessage() != null ? e.getMessage() : e.getClass().getSimpleName();
  }
}
