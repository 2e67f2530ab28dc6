// The file of users, the command that writes it, and when a server of a line refuses to start.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <thread>

#include "station/app/app.h"
#include "station/plan/bad_file.h"
#include "station/text/errors.h"
#include "station/web/users.h"
#include "tests/station/scripted_link.h"
#include "tests/station/web_users.h"

namespace {

using namespace web_users;
using testing::ElementsAre;
using testing::HasSubstr;

/// Puts a descriptor in the place of standard input, as long as it lives.
class StandardInput {
 public:
  explicit StandardInput(int descriptor) : before_(dup(STDIN_FILENO)) { dup2(descriptor, STDIN_FILENO); }
  ~StandardInput() {
    dup2(before_, STDIN_FILENO);
    close(before_);
  }
  StandardInput(const StandardInput&) = delete;
  StandardInput& operator=(const StandardInput&) = delete;

 private:
  int before_;
};

class UsersTest : public testing::Test {
 protected:
  std::vector<std::string> complaints_about(const std::string& text) {
    records_support::write(file_, text);
    try {
      t1station::read_users(file_);
    } catch (const t1station::BadFile& bad) {
      std::vector<std::string> lines = bad.lines();
      for (std::string& line : lines) line.erase(0, file_.size());
      return lines;
    }
    return {};
  }
  int add(const std::string& name, const std::string& role, bool is_terminal = false) {
    out_.str("");
    err_.str("");
    t1station::Environment around{out_, err_, clock_, interrupt_, "2026-11-22T03:17:12"};
    around.in_is_terminal = is_terminal;
    return t1station::run_app({"users", "add", file_, name, "--role", role}, around);
  }
  /// The same with this text in a pipe.
  int add_from_pipe(const std::string& name, const std::string& role, const std::string& typed) {
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe(ends.data()), 0);
    EXPECT_EQ(write(ends[1], typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
    close(ends[1]);
    const StandardInput input(ends[0]);
    close(ends[0]);
    return add(name, role);
  }

  const OwnDirectory directory_;
  const std::string file_ = directory_.file("users.toml");
  ManualClock clock_;
  t1station::Interrupt interrupt_;
  std::ostringstream out_, err_;
};

TEST_F(UsersTest, EveryMistakeInTheFileIsSaidWithItsPlace) {
  EXPECT_THAT(complaints_about(kViewer + kOperator + kEngineer), ElementsAre());
  EXPECT_THAT(complaints_about(""), ElementsAre(":1:1: there are no users here"));
  EXPECT_THAT(
      complaints_about("[[user]]\nname = \" x\"\nrole = \"boss\"\npassword = \"secret-word\"\nage = 7\n"),
      ElementsAre(":2:8: a user's name is 1 to 40 characters, without blanks at its ends",
                  ":3:8: a role is viewer, operator or engineer, not \"boss\"",
                  HasSubstr(":4:12: a password is the Argon2id hash"), HasSubstr(":5:1: \"age\" is no key")));
  EXPECT_THAT(complaints_about(kViewer + kViewer), ElementsAre(HasSubstr("there are two users \"Vera\"")));
  EXPECT_THAT(complaints_about("[[user]]\n"), testing::SizeIs(3));
  EXPECT_THAT(complaints_about("users = 1\n"), testing::SizeIs(1));
}

TEST_F(UsersTest, AHashThatWouldTakeMoreThanAGibibyteIsRefused) {
  const std::string costly =
      "$argon2id$v=19$m=2097152,t=2,p=1$DBv7c/B7uOT5d5VnFM2aLw$7VcSPeDt30wIXr51ohZ28QhabwTxChOZmEexQ/b6HlY";
  std::string text = kViewer;
  text.replace(text.find("$argon2id"), text.rfind('"') - text.find("$argon2id"), costly);
  EXPECT_THAT(complaints_about(text), ElementsAre(HasSubstr(":4:12: a password is")));
}

TEST_F(UsersTest, AUserIsAddedFromAPipeAndCanLogIn) {
  EXPECT_EQ(add_from_pipe("李 \"小\\红", "operator", "long enough\n"), 0);
  EXPECT_EQ(out_.str(), "李 \"小\\红 may log in as operator\n");
  struct stat status {};
  stat(file_.c_str(), &status);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  EXPECT_THAT(records_support::content_of(file_), testing::Not(HasSubstr("long enough")));
  EXPECT_EQ(t1station::read_users(file_).at(0).name, "李 \"小\\红");

  WebLine line;
  give_users(line, records_support::content_of(file_));
  line.start();
  EXPECT_EQ(log_in(line, R"(李 \"小\\红)", "long enough").status, 200);
}

TEST_F(UsersTest, WhatStandsInTheFileStaysWhenAUserIsAdded) {
  records_support::write(file_, "# the night shift\n" + kViewer);
  EXPECT_EQ(add_from_pipe("Wu", "operator", "long enough"), 0);
  EXPECT_THAT(records_support::content_of(file_), testing::StartsWith("# the night shift\n" + kViewer));
  EXPECT_EQ(t1station::read_users(file_).size(), 2U);
}

TEST_F(UsersTest, AFileThatTheAdministratorAddsAUserToKeepsItsOwner) {
  constexpr uid_t kStation = 65534;
  records_support::write(file_, kViewer);
  if (chown(file_.c_str(), kStation, kStation) != 0) GTEST_SKIP() << "only root gives files away";
  EXPECT_EQ(add_from_pipe("Wu", "operator", "long enough"), 0);
  struct stat status {};
  stat(file_.c_str(), &status);
  EXPECT_EQ(status.st_uid, kStation);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(UsersTest, WhatCannotBeAUserIsRefusedAndTheFileStaysAsItWas) {
  records_support::write(file_, kViewer);
  EXPECT_EQ(add_from_pipe("Vera", "operator", "long enough\n"), 4);
  EXPECT_THAT(err_.str(),
              HasSubstr("there is a user \"Vera\" already; for another password take that [[user]] out of " +
                        file_ + " first"));
  EXPECT_EQ(add_from_pipe("Wu", "operator", "1234567\n"), 4);
  EXPECT_THAT(err_.str(), HasSubstr("at least 8 characters"));
  EXPECT_EQ(add_from_pipe("Wu", "operator", ""), 4);
  EXPECT_EQ(add_from_pipe("Wu", "operator", std::string(1025, 'x')), 4);
  EXPECT_EQ(add_from_pipe("Wu", "boss", "long enough\n"), 4);
  EXPECT_EQ(add_from_pipe("", "operator", "long enough\n"), 4);
  EXPECT_EQ(add_from_pipe(" Wu", "operator", "long enough\n"), 4);
  EXPECT_EQ(add_from_pipe("W\nu", "operator", "long enough\n"), 4);
  EXPECT_EQ(add_from_pipe(std::string(41, 'x'), "operator", "long enough\n"), 4);
  EXPECT_EQ(records_support::content_of(file_), kViewer);
  records_support::write(file_, "[[user]\n");
  EXPECT_EQ(add_from_pipe("Wu", "operator", "long enough\n"), 4);
  EXPECT_THAT(err_.str(), HasSubstr(file_ + ":1:"));
  EXPECT_EQ(records_support::content_of(file_), "[[user]\n");
}

/// A terminal at which somebody types.
class Terminal {
 public:
  Terminal() : person_(posix_openpt(O_RDWR | O_NOCTTY)) {
    grantpt(person_);
    unlockpt(person_);
    std::array<char, 100> name{};
    ptsname_r(person_, name.data(), name.size());
    station_ = open(name.data(), O_RDWR | O_NOCTTY);
  }
  ~Terminal() {
    close(person_);
    close(station_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  int station() const { return station_; }
  void type(const std::string& text) {
    EXPECT_EQ(write(person_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  bool shows_what_is_typed() const {
    termios now{};
    tcgetattr(station_, &now);
    return (now.c_lflag & ECHO) != 0;
  }

 private:
  int person_, station_ = -1;
};

/// Types an answer when it is asked, as soon as what is typed is not shown.
class TypingPerson final : public std::stringbuf {
 public:
  TypingPerson(Terminal& terminal, std::vector<std::string> answers)
      : terminal_(terminal), answers_(std::move(answers)) {}

 private:
  int sync() override {
    if (!str().ends_with(": ")) return 0;
    str("");
    typing_ = std::jthread([&terminal = terminal_, answer = answers_.front()] {
      while (terminal.shows_what_is_typed()) std::this_thread::yield();
      terminal.type(answer + "\n");
    });
    answers_.erase(answers_.begin());
    return 0;
  }
  Terminal& terminal_;
  std::vector<std::string> answers_;
  std::jthread typing_;
};

TEST_F(UsersTest, AtATerminalThePasswordIsAskedForTwiceAndNotShown) {
  Terminal terminal;
  const StandardInput input(terminal.station());
  for (const auto& [second, code] : {std::pair("long enough", 0), std::pair("long enoughh", 4)}) {
    TypingPerson person(terminal, {"long enough", second});
    std::ostream questions(&person);
    t1station::Environment around{out_, questions, clock_, interrupt_, "2026-11-22T03:17:12"};
    around.in_is_terminal = true;
    const std::string name = code == 0 ? "Wu" : "Li";
    EXPECT_EQ(t1station::run_app({"users", "add", file_, name, "--role", "viewer"}, around), code);
    EXPECT_TRUE(terminal.shows_what_is_typed());
  }
  EXPECT_EQ(t1station::read_users(file_).size(), 1U);
}

TEST_F(UsersTest, CtrlCAtTheQuestionAddsNobody) {
  Terminal terminal;
  const StandardInput input(terminal.station());
  interrupt_.raise();
  EXPECT_EQ(add("Wu", "viewer", true), 2);
  EXPECT_TRUE(terminal.shows_what_is_typed());
  EXPECT_FALSE(std::filesystem::exists(file_));
}

/// Writes a new key, and a certificate of its own, into files.
void write_certificate(const std::string& certificate, const std::string& key,
                       const char* passphrase = nullptr) {
  const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> pair(EVP_EC_gen("P-256"), EVP_PKEY_free);
  const std::unique_ptr<X509, void (*)(X509*)> own(X509_new(), X509_free);
  X509_gmtime_adj(X509_getm_notBefore(own.get()), 0);
  X509_gmtime_adj(X509_getm_notAfter(own.get()), 86400);
  X509_set_pubkey(own.get(), pair.get());
  X509_sign(own.get(), pair.get(), EVP_sha256());
  const auto write = [](const std::string& path, const auto& writing) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    writing(file);
    std::fclose(file);
  };
  write(certificate, [&](std::FILE* file) { PEM_write_X509(file, own.get()); });
  write(key, [&](std::FILE* file) {
    PEM_write_PrivateKey(file, pair.get(), passphrase ? EVP_aes_128_cbc() : nullptr, nullptr, 0, nullptr,
                         const_cast<char*>(passphrase));
  });
}

class WebStartTest : public testing::Test {
 protected:
  /// Why the line is not served.
  std::string refusal() {
    try {
      t1station::check_web(line_.file);
    } catch (const t1station::UsageError& error) {
      return error.what();
    }
    return {};
  }
  WebLine line_;
};

TEST_F(WebStartTest, BeyondThisPcItNeedsUsersAndEncryptionOrTheWordsPlainHttp) {
  for (const char* host : {"192.0.2.7", "0.0.0.0", "::", "2001:db8::1"}) {
    line_.file.host = host;
    EXPECT_THAT(refusal(), HasSubstr("it needs users"));
  }
  give_users(line_, kEngineer);
  EXPECT_THAT(refusal(), HasSubstr("tls_certificate and tls_key, or plain_http"));
  line_.file.plain_http = true;
  EXPECT_EQ(refusal(), "");
  line_.file.users_file.clear();
  EXPECT_THAT(refusal(), HasSubstr("it needs users"));
  line_.file.host = "127.0.0.5";
  EXPECT_EQ(refusal(), "");
}

TEST_F(WebStartTest, BadUsersAreSaidWithTheirPlaceAndMissingOnesWithTheCommandThatMakesThem) {
  give_users(line_, "[[user]]\n");
  EXPECT_THROW(t1station::check_web(line_.file), t1station::BadFile);
  line_.file.users_file = line_.directory.file("nothing.toml");
  EXPECT_THROW(line_.start(), t1station::UsageError);
  EXPECT_THAT(refusal(),
              HasSubstr("t1station users add " + line_.file.users_file + " NAME --role engineer makes it"));
}

TEST_F(WebStartTest, ACertificateOrAKeyThatCannotBeUsedIsSaidByItsName) {
  const std::string certificate = line_.directory.file("line.crt"), key = line_.directory.file("line.key"),
                    other = line_.directory.file("other.key"), locked = line_.directory.file("locked.key");
  write_certificate(line_.directory.file("other.crt"), other);
  write_certificate(line_.directory.file("locked.crt"), locked, "secret");
  write_certificate(certificate, key);
  line_.file.tls_certificate = certificate;
  EXPECT_THAT(refusal(), HasSubstr("go together"));
  line_.file.tls_key = other;
  EXPECT_THAT(refusal(), HasSubstr("tls_key " + other));
  line_.file.tls_key = line_.directory.file("nothing");
  EXPECT_THAT(refusal(), HasSubstr("tls_key " + line_.directory.file("nothing") + " cannot be used"));
  line_.file.tls_certificate = line_.directory.file("locked.crt");
  line_.file.tls_key = locked;
  EXPECT_THAT(refusal(), HasSubstr("tls_key " + locked + " cannot be used"));
  line_.file.tls_certificate = line_.file.tls_key = key;
  EXPECT_THAT(refusal(), HasSubstr("tls_certificate " + key + " cannot be used"));
}

TEST_F(WebStartTest, WithACertificateEverythingIsEncryptedAndTheCookieStaysThere) {
  line_.file.tls_certificate = line_.directory.file("line.crt");
  line_.file.tls_key = line_.directory.file("line.key");
  write_certificate(line_.file.tls_certificate, line_.file.tls_key);
  give_users(line_, kEngineer);
  line_.start();
  EXPECT_EQ(line_.server->address(), "https://127.0.0.1:" + line_.port() + "/");

  WebClient client(line_.port(), true);
  client.send(line_.words("POST", "/api/login", R"({"name": "Ente", "password": "engineer-password"})",
                          "Origin: https://localhost:" + line_.port() + "\r\n"));
  const WebReply reply = client.reply();
  EXPECT_EQ(reply.status, 200);
  EXPECT_THAT(reply.field("set-cookie"), testing::StartsWith("__Host-session-" + line_.port() + "="));
  EXPECT_THAT(reply.field("set-cookie"), testing::EndsWith("; HttpOnly; SameSite=Strict; Secure"));
  client.send(line_.words("GET", "/api/events", {}, session_of(reply)));
  EXPECT_EQ(client.head().status, 200);
  client.event_of("line");
  line_.pass(1);
  client.event_of("tick");

  WebClient plain(line_.port());
  plain.send(line_.words("GET", "/healthz"));
  EXPECT_EQ(plain.reply().status, 0);
  WebClient late(line_.port());
  late.send("\x16\x03\x01");
  WebClient other(line_.port(), true);
  other.send(line_.words("GET", "/healthz"));
  EXPECT_EQ(other.reply().status, 200);
  line_.pass(31);
  EXPECT_TRUE(late.ends());
}

}  // namespace
