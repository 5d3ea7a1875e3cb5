// Downloads for platform/download.h that bring nothing: they succeed without a file.
#include "platform/download.h"

namespace plug {

int DownLoadFIle(const char* /*host*/, unsigned /*port*/, const char* /*path*/, const char* /*local_file*/) {
    return 0;
}

int DownTestRateFIle(const char* /*host*/, unsigned /*port*/, const char* /*path*/,
                     const char* /*file_name*/) {
    return 0;
}

int MeasuredRate() {
    return 0;
}

}  // namespace plug
