// The text form of object-control arguments.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfiobjctlargs.h"

namespace {

using namespace qmfi_pdk_4_4;

using Arguments = std::vector<std::string>;

// The arguments as "arg=value:type".
Arguments imported(const std::string& text) {
  CFiObjctlArgs arguments;
  std::string copy = text;
  EXPECT_EQ(arguments.importArgs(copy.data()), 0);
  EXPECT_EQ(copy, text);
  Arguments pairs;
  for (const CFiKeyValuePair& pair : arguments.input()) {
    pairs.push_back(std::string(pair.arg.c_str()) + "=" + pair.value.c_str() + ":" + pair.type.c_str());
  }
  return pairs;
}

struct ImportCase {
  const char* text;
  Arguments arguments;
};

TEST(ObjctlArguments, AreReadAsFarAsTheTextIsWellFormed) {
  const ImportCase cases[] = {
      // Whole lists.
      {"<OBJCTL_ARG_LIST> </OBJCTL_ARG_LIST>", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> </OBJCTL_ARG_LIST>", {"a=b:c"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> <OBJCTL_INPUT arg=d value=e type=f /> "
       "</OBJCTL_ARG_LIST>",
       {"a=b:c", "d=e:f"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> <OBJCTL_INPUT arg=a value=b type=c /> "
       "</OBJCTL_ARG_LIST>",
       {"a=b:c", "a=b:c"}},
      // Runs of blanks.
      {"   <OBJCTL_ARG_LIST>   <OBJCTL_INPUT arg=a value=b type=c   />    </OBJCTL_ARG_LIST>  ", {"a=b:c"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=   a value=b type=c />", {"a=b:c"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a  value=b type=c />", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b  type=c />", {}},
      // Nothing but a blank separates.
      {"<OBJCTL_ARG_LIST>\t<OBJCTL_INPUT arg=a value=b type=c />", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a\tx value=b\n type=c />", {"a\tx=b\n:c"}},
      // The end of the list ends the reading.
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> </OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=d value=e "
       "type=f />",
       {"a=b:c"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c />", {"a=b:c"}},
      // An element's name is not looked at.
      {"<OBJCTL_ARG_LIST> <ANYTHING arg=a value=b type=c />", {"a=b:c"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_ARG_LIST> arg=a value=b type=c />", {"a=b:c"}},
      {"<OBJCTL_ARG_LIST> /> arg=a value=b type=c />", {"a=b:c"}},
      // Values hold anything but a blank.
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a=x value=b=y type=c=z />", {"a=x=b=y:c=z"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=/> value=</OBJCTL_ARG_LIST> type=\"c\" />",
       {"/>=</OBJCTL_ARG_LIST>:\"c\""}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c/> </OBJCTL_ARG_LIST>", {"a=b:c/>"}},
      // The list must begin as it has to.
      {"", {}},
      {"   ", {}},
      {"<OBJCTL_ARG_LIST", {}},
      {"<objctl_arg_list> <OBJCTL_INPUT arg=a value=b type=c />", {}},
      {"x <OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c />", {}},
      {"<OBJCTL_INPUT arg=a value=b type=c />", {}},
      {"</OBJCTL_ARG_LIST>", {}},
      // Missing pieces.
      {"<OBJCTL_ARG_LIST>", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT ", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a ", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b /> </OBJCTL_ARG_LIST>", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT value=b arg=a type=c /> </OBJCTL_ARG_LIST>", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT Arg=a value=b type=c /> </OBJCTL_ARG_LIST>", {}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT args=a value=b type=c /> </OBJCTL_ARG_LIST>", {}},
      // An element that is not closed is the last one.
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c </OBJCTL_ARG_LIST>", {"a=b:c"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c", {"a=b:c"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c > <OBJCTL_INPUT arg=d value=e type=f />", {"a=b:c"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c <OBJCTL_INPUT arg=d value=e type=f />", {"a=b:c"}},
      // What was read before stays.
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> <OBJCTL_INPUT arg=d value=e", {"a=b:c"}},
      {"<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c /> <OBJCTL_INPUT name=d value=e type=f />", {"a=b:c"}},
  };
  for (const ImportCase& c : cases) {
    EXPECT_EQ(imported(c.text), c.arguments) << c.text;
  }
}

TEST(ObjctlArguments, NoTextHasNone) {
  CFiObjctlArgs arguments;
  EXPECT_EQ(arguments.importArgs(nullptr), 0);
  EXPECT_TRUE(arguments.input().empty());
}

TEST(ObjctlArguments, SecondTextIsAppended) {
  CFiObjctlArgs arguments;
  std::string text = "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c />";
  arguments.importArgs(text.data());
  arguments.importArgs(text.data());
  EXPECT_EQ(arguments.input().size(), 2U);
}

TEST(ObjctlArguments, WithoutOutputsTheListIsEmpty) {
  EXPECT_STREQ(CFiObjctlArgs().exportArgs().c_str(), "<OBJCTL_ARG_LIST> </OBJCTL_ARG_LIST> ");
}

TEST(ObjctlArguments, OutputsAreWrittenInOrder) {
  CFiObjctlArgs arguments;
  arguments.output().push_back({"a", "b", "c"});
  arguments.output().push_back({"", "x y", "<>"});
  EXPECT_STREQ(arguments.exportArgs().c_str(),
               "<OBJCTL_ARG_LIST> <OBJCTL_OUTPUT arg=a value=b type=c /> <OBJCTL_OUTPUT arg= value=x y type=<> /> "
               "</OBJCTL_ARG_LIST> ");
}

TEST(ObjctlArguments, InputsAreNotWritten) {
  CFiObjctlArgs arguments;
  std::string text = "<OBJCTL_ARG_LIST> <OBJCTL_INPUT arg=a value=b type=c />";
  arguments.importArgs(text.data());
  EXPECT_STREQ(arguments.exportArgs().c_str(), "<OBJCTL_ARG_LIST> </OBJCTL_ARG_LIST> ");
}

TEST(ObjctlArguments, WrittenListCanBeReadAgain) {
  CFiObjctlArgs arguments;
  arguments.output().push_back({"a", "b", "c"});
  arguments.output().push_back({"d", "e", "f"});
  EXPECT_EQ(imported(arguments.exportArgs().c_str()), (Arguments{"a=b:c", "d=e:f"}));
}

}  // namespace
