// SPDX-License-Identifier: Apache-2.0
#include "tolvend/BoundSockets.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ipc/PublishedSocket.h"
#include "support/TemporaryDirectory.h"

namespace vanto::manager {
namespace {

using test::TemporaryDirectory;

/// A directory of a domain, which is the manager's own as well.
class BoundSocketsTest : public testing::Test {
 protected:
  [[nodiscard]] Fd openDirectory() const {
    return Fd(open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  /// Binds a socket called "name".
  void bind(PublishedSocket& socket) const {
    EXPECT_EQ(VANTO_ERROR_NONE,
              socket.open(openDirectory(), "name", PublishedSocket::Access::Owner, PublishedSocket::Rival::Replace));
  }
  [[nodiscard]] BoundSockets openSockets() const {
    BoundSockets sockets;
    EXPECT_EQ(0, sockets.open(openDirectory(), openDirectory().get()));
    return sockets;
  }

  const TemporaryDirectory directory_;
};

TEST_F(BoundSocketsTest, KnowASocketThatWasNoted) {
  PublishedSocket socket;
  bind(socket);
  const BoundSockets sockets = openSockets();
  EXPECT_FALSE(sockets.has("name"));
  sockets.put("name");
  EXPECT_TRUE(sockets.has("name"));
  EXPECT_TRUE(openSockets().has("name"));
}

TEST_F(BoundSocketsTest, DoNotKnowAnotherSocketOfTheName) {
  PublishedSocket socket;
  bind(socket);
  const BoundSockets sockets = openSockets();
  sockets.put("name");
  PublishedSocket other;
  bind(other);
  EXPECT_FALSE(sockets.has("name"));
  sockets.put("name");
  EXPECT_TRUE(sockets.has("name"));
}

TEST_F(BoundSocketsTest, ForgetASocket) {
  PublishedSocket socket;
  bind(socket);
  const BoundSockets sockets = openSockets();
  sockets.put("name");
  sockets.remove("name");
  EXPECT_FALSE(sockets.has("name"));
}

TEST_F(BoundSocketsTest, KnowNothingWhereTheSocketIsGone) {
  const BoundSockets sockets = openSockets();
  {
    PublishedSocket socket;
    bind(socket);
    sockets.put("name");
    socket.close();
  }
  EXPECT_FALSE(sockets.has("name"));
}

TEST_F(BoundSocketsTest, GiveASocketItsNameBack) {
  PublishedSocket socket;
  bind(socket);
  const BoundSockets sockets = openSockets();
  EXPECT_EQ(sockets.restore("name"), ENOENT) << "it was not noted";
  sockets.put("name");
  EXPECT_EQ(sockets.restore("name"), 0) << "it has its name";
  ASSERT_EQ(0, unlink((directory_ / "name").c_str()));
  EXPECT_EQ(sockets.restore("name"), 0);
  EXPECT_TRUE(socket.isPublished());
  PublishedSocket rival;
  bind(rival);
  EXPECT_EQ(sockets.restore("name"), 0);
  EXPECT_TRUE(socket.isPublished());
  EXPECT_FALSE(rival.isPublished());
  EXPECT_TRUE(connectToSocket(openDirectory().get(), "name", UINT64_MAX));
  EXPECT_FALSE(std::filesystem::exists(directory_ / ".again"));
}

TEST_F(BoundSocketsTest, GiveNoNameBackThatIsNoSockets) {
  PublishedSocket socket;
  bind(socket);
  const BoundSockets sockets = openSockets();
  sockets.put("name");
  ASSERT_EQ(0, unlink((directory_ / "name").c_str()));
  std::ofstream(directory_ / "name") << "text";
  EXPECT_EQ(sockets.restore("name"), ENOTSOCK);
  EXPECT_EQ(std::filesystem::file_size(directory_ / "name"), 4U);
}

TEST_F(BoundSocketsTest, AreNotOpenedThroughALink) {
  ASSERT_EQ(0, symlink("/tmp", (directory_ / "sockets").c_str()));
  BoundSockets sockets;
  const Fd own = openDirectory();
  EXPECT_NE(0, sockets.open(openDirectory(), own.get()));
}

}  // namespace
}  // namespace vanto::manager
