#include "rules/self_update.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "core/clock.h"
#include "core/file.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/process.h"
#include "core/status_file.h"
#include "platform/download.h"
#include "platform/uplink.h"
#include "rules/plug_json.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "ParseJson.c";

constexpr std::size_t kReadBytes = 1024;
constexpr std::size_t kReportBytes = 512;
constexpr std::uint8_t kProgressType = 3;
constexpr int kExitPace = 3000;  // milliseconds that the report has to leave

struct DigestDeleter {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using DigestPtr = std::unique_ptr<EVP_MD_CTX, DigestDeleter>;

bool FinishDigest(EVP_MD_CTX* context, Md5Text& md5) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    if (EVP_DigestFinal_ex(context, digest, nullptr) != 1) return false;
    for (std::size_t i = 0; i < 16; ++i) snprintf(md5.data() + 2 * i, 3, "%02x", digest[i]);
    return true;
}

void SendProgress(int result) {
    std::array<char, kReportBytes> report;
    if (BuildJson(4, result, "", nullptr, report) == 0)
        SendIpUpData(AsBytes(report.data()), kProgressType, nullptr);
}

/// DownLoadProc in the name of the caller.
int DownloadAndCheck(const char* md5, const char* server, int port, const char* path, bool& matches) {
    matches = false;
    if (const int failed = DownLoadFIle(server, static_cast<unsigned>(port), path, kDownloadPath);
        failed != 0)
        return failed;
    PLUG_LOG(kDebug, "1-----------md5: down :%s", md5);
    Md5Text own;
    const int result = Compute_file_md5(kDownloadPath, own);
    PLUG_LOG(kDebug, "md5: self:%s===down :%s", own.data(), md5);
    matches = own[0] != '\0' && strcmp(own.data(), md5) == 0;  // a file that cannot be read matches nothing
    matches = matches && WriteStatus(Status::kUpdateReady) == 0;  // else nobody would install it
    if (!matches) DeleteDownloadFile();
    return result;
}

/// True when the new version is in place.
bool FetchUpdate(const char* payload) {
    const PluginUpdate& update = PluginRecord();
    const int parsed = ParserPlug(2, payload);
    PLUG_LOG(kDebug, "md5: down :%s", update.file_md5.data());
    if (parsed != 0) return false;
    PLUG_LOG(kDebug, "plug update url :%s", update.path.data());
    bool matches = false;
    DownloadAndCheck(update.file_md5.data(), update.server.data(), update.port, update.path.data(), matches);
    return matches;
}

}  // namespace

int Compute_file_md5(const char* path, Md5Text& md5) {
    const LogAuthor author(__func__);
    md5 = {};
    const FilePtr file = OpenOwnToRead(path);
    if (!file) {
        PLUG_LOG(kErr, "fopen");
        return -1;
    }
    const DigestPtr context(EVP_MD_CTX_new());
    if (!context || EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) != 1) return -1;
    std::array<unsigned char, kReadBytes> block;
    for (std::size_t count = block.size(); count == block.size();) {
        count = fread(block.data(), 1, block.size(), file.get());
        if (ferror(file.get()) != 0) {
            PLUG_LOG(kErr, "fread");
            return static_cast<int>(count);
        }
        if (EVP_DigestUpdate(context.get(), block.data(), count) != 1) return -1;
    }
    return FinishDigest(context.get(), md5) ? 0 : -1;
}

int DownLoadProc(const char* md5, const char* server, int port, const char* path, bool& matches) {
    const LogAuthor author(__func__);
    return DownloadAndCheck(md5, server, port, path, matches);
}

void DeleteDownloadFile() {
    unlink(kDownloadPath);
}

int UpdatePlugin(const char* payload) {
    if (!FetchUpdate(payload)) {
        SendProgress(-1);
        WriteStatus(Status::kUpdateFailed);
        return 0;
    }
    SetUpdateProcessed();
    SendProgress(0);
    Pace(kExitPace);
    PLUG_LOG(kErr, "exit at [ParserPlugData] %d ", __LINE__);
    EndProcess();
}

}  // namespace plug
