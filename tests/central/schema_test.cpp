// The tables of a central database: who makes them, who may do what, and which version is taken.
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "station/central/address.h"
#include "station/central/central_schema.h"
#include "station/central/delivery.h"
#include "tests/central/central_station.h"

namespace {

using t1station::CentralMigration;
using t1station::Postgres;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

/// What a process of `t1station records` said, and how it ended.
struct Said {
  int status;
  std::string out, err;
};

Said records(const std::vector<std::string>& words) {
  std::vector<std::string> command{T1STATION_PROGRAM, "records"};
  command.insert(command.end(), words.begin(), words.end());
  Child child(command);
  const int status = child.exit_status();
  return {status, child.rest(), child.err()};
}

class CentralSchemaTest : public CentralTest {
 protected:
  // What a statement is refused with.
  std::string refusal(const std::string& statement, const std::string& role) const {
    try {
      Postgres(url(role), {}, -1).ask(statement);
    } catch (const t1station::CentralTrouble& trouble) {
      return trouble.what();
    }
    return "not refused";
  }
};

TEST_F(CentralSchemaTest, AStationInsertsAndReadsAndTheDatabaseRefusesAllElse) {
  const Said made = records({"central", "init", url(), "--role", "station"});
  EXPECT_EQ(made.status, 0) << made.err;
  EXPECT_EQ(made.out, "the tables were made\nstation may insert and read\n");
  CentralStation station;
  station.begin(url("station"));
  station.pass({"AB00000001"});
  await_all(station);
  station.end();
  expect_the_same(station);
  for (const std::string table : {"plan", "run", "connection", "attempt", "measurement", "event"}) {
    const std::string denied = "permission denied for table " + table,
                      kept = "records are never changed or deleted";
    const std::string update =
        "UPDATE " + table + " SET " + (table == "measurement" ? "attempt_id" : "id") + " = 'x'";
    for (const std::string& statement : {update, "DELETE FROM " + table, "TRUNCATE " + table + " CASCADE"}) {
      EXPECT_THAT(refusal(statement, "station"), HasSubstr(denied));
      EXPECT_THAT(refusal(statement, "maker"), HasSubstr(kept))
          << "not even their owner, as long as he does not mean it";
    }
  }
  EXPECT_THAT(refusal("INSERT INTO boardtest_schema VALUES (2)", "station"), HasSubstr("permission denied"));
  EXPECT_EQ(sql("SELECT count(*) FROM run"), "1");
  const Said owner = records({"central", "init", url(), "--role", "maker"});
  EXPECT_EQ(owner.status, 4);
  EXPECT_THAT(owner.err, HasSubstr("maker owns the tables or is a superuser, and could change records"));
}

TEST_F(CentralSchemaTest, ARoleThatIsNotThereIsRefusedBeforeAnythingIsMade) {
  const Said nobody = records({"central", "init", url(), "--role", "nobody"});
  EXPECT_EQ(nobody.status, 4);
  EXPECT_THAT(nobody.err, HasSubstr("there is no role nobody on this server"));
  EXPECT_EQ(sql("SELECT to_regclass('run') IS NULL"), "t");
}

// The server only warns of rights that somebody grants without having them.
TEST_F(CentralSchemaTest, WhoDoesNotOwnTheTablesIsNotToldThatAStationMayUseThem) {
  EXPECT_EQ(records({"central", "init", url(), "--role", "station"}).status, 0);
  const Said said = records({"central", "init", url("station"), "--role", "locked"});
  EXPECT_EQ(said.status, 4) << said.out;
  EXPECT_THAT(said.err, HasSubstr("this role does not own the tables and cannot let locked use them"));
}

TEST_F(CentralSchemaTest, ADatabaseThatCannotHoldChineseIsRefused) {
  EXPECT_EQ(server().sql("postgres",
                         "CREATE DATABASE latin OWNER maker ENCODING 'LATIN1' LOCALE 'C' TEMPLATE template0"),
            "");
  const Said said = records({"central", "init", server().url("latin", "maker")});
  EXPECT_EQ(said.status, 4) << said.out;
  EXPECT_THAT(said.err, HasSubstr("the database's texts are LATIN1, records are UTF-8"));
}

TEST_F(CentralSchemaTest, ARoleThatMayMakeNoTablesSaysWhoShould) {
  CentralStation station;
  station.begin(url("station"));
  station.pass({"AB00000001"});
  station.await_log("\"t1station records central init\" does, for somebody who may");
  station.await({"waiting", 1});
  EXPECT_EQ(records({"central", "init", url(), "--role", "station"}).status, 0);
  await_all(station);
}

TEST_F(CentralSchemaTest, StationsThatStartTogetherMakeTheTablesOnce) {
  std::vector<std::thread> stations;
  for (int i = 0; i < 8; ++i) {
    stations.emplace_back([this] {
      Postgres connection(url(), {}, -1);
      EXPECT_NO_THROW(t1station::expect_central_tables(connection));
    });
  }
  for (std::thread& station : stations) station.join();
  EXPECT_EQ(sql("SELECT version FROM boardtest_schema"), "1");
}

TEST_F(CentralSchemaTest, TablesAreBroughtUpToDateStepByStepOrNotAtAll) {
  Postgres connection(url(), {}, -1);
  bring_central_up_to_date(connection, {});
  const std::vector<CentralMigration> good{{1, {"ALTER TABLE run ADD COLUMN colour text"}},
                                           {2, {"ALTER TABLE run RENAME COLUMN colour TO color"}}};
  const std::vector<CentralMigration> bad{{1, {"ALTER TABLE run ADD COLUMN colour text", "no SQL at all"}}};
  EXPECT_THROW(bring_central_up_to_date(connection, bad, 2), t1station::CentralTrouble);
  EXPECT_EQ(sql("SELECT count(*) FROM information_schema.columns WHERE column_name = 'colour'"), "0");
  EXPECT_THROW(bring_central_up_to_date(connection, {}, 2), t1station::RecordsRefused) << "no step is known";
  EXPECT_EQ(bring_central_up_to_date(connection, good, 3), 1);
  EXPECT_EQ(sql("SELECT max(version) FROM boardtest_schema"), "3");
  EXPECT_EQ(sql("SELECT count(*) FROM information_schema.columns WHERE column_name = 'color'"), "1");
  const Said newer = records({"central", "init", url()});
  EXPECT_EQ(newer.status, 4);
  EXPECT_THAT(newer.err, HasSubstr("made by a newer t1station (version 3 of its tables, this one knows 1)"));
}

TEST_F(CentralSchemaTest, WhatIsLeftIsSentByHandOnceAndChecked) {
  CentralStation station;
  station.pass({"AB00000001", "AB00000002"});
  const Said owned = records({"forward", station.file(), "--to", url()});
  EXPECT_EQ(owned.status, 4);
  EXPECT_THAT(owned.err, HasSubstr("belongs to another process"));
  station.close();
  EXPECT_EQ(records({"check", url()}).status, 4) << "there are no tables yet";
  EXPECT_EQ(records({"forward", station.file(), "--to", url()}).out, "2 runs were sent; nothing is left\n");
  EXPECT_EQ(records({"forward", station.file(), "--to", url()}).out, "0 runs were sent; nothing is left\n");
  const Said checked = records({"check", url()});
  EXPECT_EQ(checked.status, 0) << checked.out;
  EXPECT_THAT(checked.out, HasSubstr("2 runs and "));
  // A file that has forgotten what it sent sends nothing twice.
  records_support::forge(station.file(), "DELETE FROM forwarded");
  EXPECT_EQ(records({"forward", station.file(), "--to", url()}).out, "0 runs were sent; nothing is left\n");
  EXPECT_EQ(records_support::column(station.file(), "SELECT count(*) FROM forwarded").front(), "2");
  forge("UPDATE run SET verdict = 'failed' WHERE sequence = 1");
  EXPECT_EQ(records({"check", url()}).status, 1);
  EXPECT_EQ(records({"forward", station.path("nothing.db"), "--to", url()}).status, 4);
  const Said nobody = records({"check", "postgresql://line@127.0.0.1:" + free_port() + "/boards"});
  EXPECT_EQ(nobody.status, 6);
  EXPECT_THAT(nobody.err, HasSubstr("t1station: the central database: connection to server at"));
}

TEST_F(CentralSchemaTest, APasswordInAUrlIsRefusedAndNotRepeated) {
  for (const std::string url :
       {"postgresql://line:geheim@db/boards", "postgresql://line@db/boards?password=geheim",
        "postgresql://db/boards?sslpassword=geheim", "postgresql://line:geheim@db:x y/boards"}) {
    const std::vector<std::vector<std::string>> commands{{"check", url},
                                                         {"central", "init", url},
                                                         {"forward", "records.db", "--to", url},
                                                         {"list", url},
                                                         {"export", url, "--format", "csv"},
                                                         {"head", url},
                                                         {"forward", url, "--to", "postgresql://db/boards"}};
    for (const std::vector<std::string>& command : commands) {
      const Said said = records(command);
      EXPECT_EQ(said.status, 4);
      EXPECT_THAT(said.err, AllOf(HasSubstr(" database"), Not(HasSubstr("geheim"))));
    }
  }
  EXPECT_EQ(t1station::trouble_with_central_url("postgresql://line@db/boards"), "");
  EXPECT_NE(t1station::trouble_with_central_url("host=db user=line"), "");
}

/// Writes a new key and a certificate of its own for a server of this name.
void write_certificate(const CentralServer& server, const std::string& name) {
  const std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY*)> pair(EVP_EC_gen("P-256"), EVP_PKEY_free);
  const std::unique_ptr<X509, void (*)(X509*)> own(X509_new(), X509_free);
  X509_gmtime_adj(X509_getm_notBefore(own.get()), 0);
  X509_gmtime_adj(X509_getm_notAfter(own.get()), 86400);
  X509_NAME_add_entry_by_txt(X509_get_subject_name(own.get()), "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
  X509_set_issuer_name(own.get(), X509_get_subject_name(own.get()));
  X509_set_pubkey(own.get(), pair.get());
  X509_sign(own.get(), pair.get(), EVP_sha256());
  const auto write = [&](const std::string& file, const auto& writing) {
    const std::unique_ptr<BIO, int (*)(BIO*)> memory(BIO_new(BIO_s_mem()), BIO_free);
    writing(memory.get());
    char* bytes = nullptr;
    const long size = BIO_get_mem_data(memory.get(), &bytes);
    server.write(file, std::string(bytes, static_cast<std::size_t>(size)));
  };
  write("data/server.crt", [&](BIO* to) { PEM_write_bio_X509(to, own.get()); });
  write("data/server.key",
        [&](BIO* to) { PEM_write_bio_PrivateKey(to, pair.get(), nullptr, nullptr, 0, nullptr, nullptr); });
}

TEST_F(CentralSchemaTest, ACertificateThatDoesNotFitIsNotTrusted) {
  const std::string trusted = "sslmode=verify-full&sslrootcert=" + server().file("data/server.crt");
  write_certificate(server(), "elsewhere.example");
  server().restart_with("ssl = on\n");
  CentralStation station;
  station.begin(url("maker", trusted));
  station.pass({"AB00000001"});
  station.await_log("\"elsewhere.example\" does not match host name \"127.0.0.1\"");
  station.await({"waiting", 1});
  write_certificate(server(), "127.0.0.1");
  server().restart_with("ssl = on\n");
  await_all(station);
  station.end();
  server().restart_with("ssl = off\n");
  station.forget_log();
  station.begin(url("maker", trusted));
  station.await_log("server does not support SSL");
}

}  // namespace
