// Names that a careless program would take for something else.
#include "hostile_names.h"

namespace faults {

const std::vector<std::string>& hostilePieces() {
  constexpr std::size_t longName = 4096;
  static const std::vector<std::string> pieces = {
      "",
      "plain",
      "two words",
      " leading",
      "trailing ",
      "a\ttab",
      "a\nline",
      "trailing\r\n",
      "\\040",
      "\\040escaped\\011\\012\\134",
      "back\\slash",
      "$(/bin/rmdir)",
      "`/bin/rmdir`",
      ";/bin/rmdir;",
      "&&/bin/rmdir&",
      "a|b",
      "|",
      "x|/bin/rmdir",
      "rw | /bin/rmdir",
      "| /bin/nothing-there",
      ">/tmp/out<in",
      "%n %s %d",
      "%s%n%99999999d",
      "{0} {1} '{'",
      "'single' \"double\"",
      "\"'`",
      "</MNT_OPTS><SUBOBJ>evil</SUBOBJ>",
      "<ALTOBJ>evil</ALTOBJ>",
      "<MNT_OPTS>",
      "-rf",
      "--help",
      "*?[a-z]{a,b}~",
      "\xff\xfe\x80",
      "gr\xc3\xbc\xc3\x9f",
      "../../etc",
      "/",
      "//dev//qm/dsk",
      "/dev/qm/rdsk/raw",
      "log,ro,log,,rw",
      "key=value;mountOptions=evil",
      std::string(longName, 'x'),
  };
  return pieces;
}

std::string inMountTable(const std::string& name) {
  std::string encoded;
  for (const char byte : name) {
    switch (byte) {
      case ' ':
        encoded += "\\040";
        break;
      case '\t':
        encoded += "\\011";
        break;
      case '\n':
        encoded += "\\012";
        break;
      case '\\':
        encoded += "\\134";
        break;
      default:
        encoded += byte;
    }
  }
  return encoded;
}

std::string inMessage(const std::string& name) {
  std::string shown;
  for (const char byte : name) {
    // Of the pieces, these are the bytes that belong to no character.
    const bool isInvalid = byte == '\xff' || byte == '\xfe' || byte == '\x80';
    shown += isInvalid ? "\xef\xbf\xbd" : std::string(1, byte);
  }
  return shown;
}

}  // namespace faults
