#pragma once

#include <sys/stat.h>

#include <string>

#include <vexonetwork/utils/config.h>

namespace vexonetwork::network::module {

/// The file with the last configured addresses of every interface. It is read again only when it
/// is not the file that was read last, so the steps of one request share one reading.
class GatewayDatabase {
  public:
    explicit GatewayDatabase(std::string filePath) : path(std::move(filePath)) {}

    /// @return 1 when the stored value is another, or there is no file or no such section; 0 when
    ///         it is the same, an absent key being the empty value; -1 after a log line
    int Differs(const std::string& section, const std::string& key, const std::string& value);

    /// Adds `changes` to what the file holds and writes it; a missing file is made first.
    /// @return 0, or -1 after a log line
    int Merge(const utils::ConfigSection& changes);

  private:
    bool Load();

    std::string path;
    utils::ConfigSection contents;
    struct stat readFrom {};  ///< the file at the last reading; zeros when there is none
};

}  // namespace vexonetwork::network::module
