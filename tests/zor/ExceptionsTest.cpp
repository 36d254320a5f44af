#include <gtest/gtest.h>

#include "core/DynamicLibrary.h"
#include "core/Exceptions.h"

TEST(ZORExceptions, NullMessageStaysNullAndReadsAsMarker) {
  const ZOR::LogicalException none(static_cast<const char*>(nullptr));
  EXPECT_EQ(none.message(), nullptr);
  EXPECT_STREQ(none.what(), "<NULL>");
  const ZOR::LogicalException some("eglInitialize: EGL_BAD_ALLOC");
  EXPECT_STREQ(some.message(), some.what());
}

TEST(ZORDynamicLibrary, MissingLibraryIsNamedInTheLoadersText) {
  try {
    const ZOR::Core::DynamicLibrary library("gpuprobe-no-such-library");
    FAIL() << "opened a library that does not exist";
  } catch (const ZOR::LogicalException& e) {
    EXPECT_NE(std::string(e.message()).find("gpuprobe-no-such-library"), std::string::npos);
  }
}
