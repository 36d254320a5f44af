#include "ocl/ReadText.h"

namespace ZOR::OCL {

cl_int ReadText(const TextQuery& query, std::string& text) {
  size_t size = 0;
  if (const cl_int status = query(0, nullptr, &size); status != CL_SUCCESS) return status;
  if (size > kLongestText) return CL_INVALID_VALUE;
  text.assign(size, '\0');
  return size == 0 ? CL_SUCCESS : query(size, text.data(), nullptr);
}

}  // namespace ZOR::OCL
