# Writes <archive>.size, the archive's length in bytes: the bridge hands the
# JVM an archive only when its length still matches, since a JVM given an
# archive cut short (a failed copy, a full disk) crashes instead of starting
# without it.   cmake -DARCHIVE=<file> -P record_size.cmake
file(SIZE "${ARCHIVE}" bytes)
file(WRITE "${ARCHIVE}.size" "${bytes}\n")
