// Tables of the state store.
#include "state/state_store.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "failure/host_error.h"
#include "state/receipt_json.h"
#include "state/state_directory.h"
#include "system/durable_file.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

constexpr const char* schema = R"(
  CREATE TABLE IF NOT EXISTS snapshot (
    id TEXT PRIMARY KEY, name TEXT NOT NULL UNIQUE, created INTEGER NOT NULL, frozen_us INTEGER NOT NULL,
    phase TEXT NOT NULL, boot_id TEXT NOT NULL DEFAULT '', freeze_since_start_us INTEGER NOT NULL DEFAULT 0,
    held TEXT NOT NULL DEFAULT '', receipt TEXT NOT NULL DEFAULT '');
  CREATE TABLE IF NOT EXISTS node (
    snapshot TEXT NOT NULL REFERENCES snapshot (id) ON DELETE CASCADE, position INTEGER NOT NULL,
    mount_point TEXT NOT NULL, device TEXT NOT NULL, snapshot_device TEXT NOT NULL, volume_file TEXT NOT NULL,
    snapshot_file TEXT NOT NULL, alternate TEXT NOT NULL, state TEXT NOT NULL, alternate_state TEXT NOT NULL,
    provider TEXT NOT NULL, thaw_request INTEGER NOT NULL, raw_device TEXT NOT NULL,
    kernel_timeout_s INTEGER NOT NULL DEFAULT 0, splitter TEXT NOT NULL DEFAULT 'reflink',
    PRIMARY KEY (snapshot, position));
  CREATE TABLE IF NOT EXISTS disabled_access (
    mount_point TEXT PRIMARY KEY, provider TEXT NOT NULL, device TEXT NOT NULL, state TEXT NOT NULL);
)";

// The first version knew one provider for each snapshot. Which request thaws its file systems, and where it keeps raw
// devices, was not remembered: the kernel's own request ends what the driver froze, and a raw device stays.
constexpr const char* fromVersionOne = R"(
  ALTER TABLE node ADD COLUMN provider TEXT NOT NULL DEFAULT '';
  ALTER TABLE node ADD COLUMN thaw_request INTEGER NOT NULL DEFAULT 0;
  ALTER TABLE node ADD COLUMN raw_device TEXT NOT NULL DEFAULT '';
  UPDATE node SET provider = (SELECT provider FROM snapshot WHERE id = node.snapshot);
  ALTER TABLE snapshot DROP COLUMN provider;
)";

// The second one did not remember when a freeze began: none of those that it knows is taken for ours any more.
constexpr const char* fromVersionTwo = R"(
  ALTER TABLE snapshot ADD COLUMN boot_id TEXT NOT NULL DEFAULT '';
  ALTER TABLE snapshot ADD COLUMN freeze_since_start_us INTEGER NOT NULL DEFAULT 0;
  ALTER TABLE node ADD COLUMN kernel_timeout_s INTEGER NOT NULL DEFAULT 0;
)";

// The third one knew one splitter only.
constexpr const char* fromVersionThree = R"(
  ALTER TABLE node ADD COLUMN splitter TEXT NOT NULL DEFAULT 'reflink';
)";

// The fourth one knew neither of receipts nor that a snapshot is held.
constexpr const char* fromVersionFour = R"(
  ALTER TABLE snapshot ADD COLUMN held TEXT NOT NULL DEFAULT '';
  ALTER TABLE snapshot ADD COLUMN receipt TEXT NOT NULL DEFAULT '';
)";

constexpr std::int64_t currentSchemaVersion = 5;

std::int64_t schemaVersion(const Database& database) {
  Statement version(database, "PRAGMA user_version");
  version.step();
  return version.number();
}

// A store of a later version may mean other things by the same names.
void requireKnownVersion(const Database& database) {
  if (schemaVersion(database) > currentSchemaVersion) {
    throw HostError(translate("the state store {0} was made by a later version of qmfi", database.path().string()));
  }
}

// Another process may have been quicker; only with the transaction is the version certain.
void bringUpToDate(Database& database) {
  if (schemaVersion(database) == currentSchemaVersion) return;
  Transaction transaction(database);
  const std::int64_t version = schemaVersion(database);
  if (version == 0) database.execute(schema);
  if (version == 1) {
    database.execute(fromVersionOne);
    Statement(database, "UPDATE node SET thaw_request = ?").bind(std::int64_t{FITHAW}).step();
  }
  if (version == 1 || version == 2) database.execute(fromVersionTwo);
  if (version >= 1 && version <= 3) database.execute(fromVersionThree);
  if (version >= 1 && version <= 4) database.execute(fromVersionFour);
  database.execute("PRAGMA user_version = 5");
  transaction.commit();
}

void keepEarlierVersion(const Database& database, const fs::path& directory) {
  const std::int64_t version = schemaVersion(database);
  if (version == 0 || version == currentSchemaVersion) return;
  database.copyTo(databaseIn(directory).string() + ".v" + std::to_string(version));
}

// Reads one value after another; the first that makes no sense is remembered, and the others are read all the same.
class SoundReading {
 public:
  explicit SoundReading(std::string& damage) : m_damage(damage) {}

  template <typename Read>
  void operator()(Read read) {
    try {
      read();
    } catch (const HostError& error) {
      if (m_damage.empty()) m_damage = error.what();
    }
  }

 private:
  std::string& m_damage;
};

SnapshotNode readNode(Statement& row, SoundReading& reading) {
  SnapshotNode node;
  for (std::string* const text :
       {&node.mountPoint, &node.volume.device, &node.volume.snapshotDevice, &node.volume.volumeFile,
        &node.volume.snapshotFile, &node.alternate, &node.state, &node.alternateState, &node.provider}) {
    reading([&] { *text = row.text(); });
  }
  reading([&] { node.thawRequest = static_cast<unsigned long>(row.number()); });
  reading([&] { node.volume.rawDevice = row.text(); });
  reading([&] { node.kernelTimeout = std::chrono::seconds(row.number()); });
  reading([&] { node.volume.splitter = row.text(); });
  return node;
}

std::vector<SnapshotNode> readNodes(Statement& rows, const std::string& id, SoundReading& reading) {
  std::vector<SnapshotNode> nodes;
  reading([&] {
    rows.again().bind(id);
    while (rows.step()) nodes.push_back(readNode(rows, reading));
    if (nodes.empty()) throw DamagedDatabase(translate("it has no file system"));
  });
  return nodes;
}

DamagedSnapshot readSnapshot(Statement& row, Statement& nodes) {
  DamagedSnapshot read;
  SoundReading reading(read.damage);
  Snapshot& snapshot = read.snapshot;
  snapshot.id = row.text();
  reading([&] { snapshot.name = row.text(); });
  reading([&] { snapshot.created = Snapshot::Time(std::chrono::microseconds(row.number())); });
  reading([&] { snapshot.frozen = std::chrono::microseconds(row.number()); });
  reading([&] { snapshot.phase = phaseOfName(row.text()); });
  reading([&] { snapshot.freeze.bootId = row.text(); });
  reading([&] { snapshot.freeze.sinceStart = std::chrono::microseconds(row.number()); });
  reading([&] { snapshot.held = row.text(); });
  reading([&] { snapshot.receipt = receiptOf(row.text()); });
  snapshot.nodes = readNodes(nodes, snapshot.id, reading);
  return read;
}

// Oldest first. Nobody changes the state between the statements: this process has the lock, or reads a copy.
std::vector<DamagedSnapshot> readThose(const Database& database, Statement& rows) {
  Statement nodes(database,
                  "SELECT mount_point, device, snapshot_device, volume_file, snapshot_file, alternate, state,"
                  " alternate_state, provider, thaw_request, raw_device, kernel_timeout_s, splitter FROM node"
                  " WHERE snapshot = ? ORDER BY position");
  std::vector<DamagedSnapshot> all;
  while (rows.step()) all.push_back(readSnapshot(rows, nodes));
  return all;
}

std::vector<DamagedSnapshot> readAll(const Database& database) {
  Statement rows(database,
                 "SELECT ifnull(CAST(id AS TEXT), ''), name, created, frozen_us, phase, boot_id,"
                 " freeze_since_start_us, held, receipt FROM snapshot ORDER BY created, id");
  return readThose(database, rows);
}

// Those of that id or name: one, or two when one's id is the other's name.
std::vector<DamagedSnapshot> readNamed(const Database& database, const std::string& idOrName) {
  Statement rows(
      database,
      "SELECT ifnull(CAST(id AS TEXT), '') AS known_id, name, created, frozen_us, phase, boot_id,"
      " freeze_since_start_us, held, receipt FROM snapshot WHERE known_id = ? OR name = ? ORDER BY created, id");
  rows.bind(idOrName).bind(idOrName);
  return readThose(database, rows);
}

std::vector<Snapshot> soundOf(std::vector<DamagedSnapshot> all) {
  std::vector<Snapshot> sound;
  for (DamagedSnapshot& read : all) {
    if (read.damage.empty()) sound.push_back(std::move(read.snapshot));
  }
  return sound;
}

std::vector<DamagedSnapshot> damagedOf(std::vector<DamagedSnapshot> all) {
  std::erase_if(all, [](const DamagedSnapshot& read) { return read.damage.empty(); });
  return all;
}

const Snapshot& snapshotOf(const Snapshot& snapshot) {
  return snapshot;
}

const Snapshot& snapshotOf(const DamagedSnapshot& damaged) {
  return damaged.snapshot;
}

// An id goes before a name.
template <typename One>
std::optional<One> findIn(const std::vector<One>& known, const std::string& idOrName) {
  for (const auto member : {&Snapshot::id, &Snapshot::name}) {
    const auto found =
        std::find_if(known.begin(), known.end(), [&](const One& one) { return snapshotOf(one).*member == idOrName; });
    if (found != known.end()) return *found;
  }
  return std::nullopt;
}

DisabledAccess readDisabledAccess(Statement& row) {
  DisabledAccess access;
  SoundReading reading(access.damage);
  for (std::string* const text : {&access.mountPoint, &access.provider, &access.device, &access.state}) {
    reading([&] { *text = row.text(); });
  }
  return access;
}

// Every page is looked at, not only what is wanted now.
bool isSound(const fs::path& file) {
  try {
    const Database database = Database::copyOf(file);
    Statement check(database, "PRAGMA quick_check(1)");
    check.step();
    return check.text() == "ok";
  } catch (const DamagedDatabase&) {
    return false;
  }
}

fs::path freeNameBeside(const fs::path& file) {
  for (int number = 1;; ++number) {
    fs::path name = file.string() + ".damaged-" + std::to_string(number);
    std::error_code error;
    if (fs::symlink_status(name, error).type() == fs::file_type::not_found) return name;
    if (error && error != std::errc::no_such_file_or_directory) throw systemError(name.string(), error.value());
  }
}

// For what needs room for its journal only.
template <typename Action>
void evenOnFullDisk(Database& database, Action action) {
  try {
    action();
  } catch (const FullStorage&) {
    const JournalInMemory journal(database);
    action();
  }
}

void renameIfThere(const fs::path& from, const fs::path& to) {
  if (rename(from.c_str(), to.c_str()) == 0 || errno == ENOENT) return;
  throw systemError(translate("{0} could not be renamed to {1}", from.string(), to.string())).about(from.string());
}

}  // namespace

StateStore::StateStore(const fs::path& directory) : m_database(databaseIn(directory)) {
  requireKnownVersion(m_database);
  keepEarlierVersion(m_database, directory);
  bringUpToDate(m_database);
}

StateStore::StateStore(Database database) : m_database(std::move(database)) {
  requireKnownVersion(m_database);
  bringUpToDate(m_database);
}

StateStore StateStore::readFrom(const fs::path& directory) {
  return StateStore(Database::copyOf(databaseIn(directory)));
}

std::optional<fs::path> StateStore::moveAsideIfDamaged(const fs::path& directory) {
  const fs::path database = databaseIn(directory);
  if (isSound(database)) return std::nullopt;
  const fs::path aside = freeNameBeside(database);
  // A new database would take the journal for its own.
  renameIfThere(database.string() + "-journal", aside.string() + "-journal");
  renameIfThere(database, aside);
  const int error = qmfi_system::writeOutDirectory(directory);
  if (error != 0) {
    throw systemError(translate("{0} could not be written out", directory.string()), error).about(directory.string());
  }
  return aside;
}

void StateStore::add(const Snapshot& snapshot) {
  Transaction transaction(m_database);
  addWithin(snapshot);
  transaction.commit();
}

void StateStore::replaceDamaged(const Snapshot& snapshot) {
  Transaction transaction(m_database);
  const std::optional<DamagedSnapshot> damaged = findDamaged(snapshot.id);
  if (damaged && damaged->snapshot.id == snapshot.id) removeWithin(snapshot.id);
  addWithin(snapshot);
  transaction.commit();
}

void StateStore::requireUnknown(const Snapshot& snapshot) const {
  for (const std::string& name : {snapshot.id, snapshot.name}) {
    if (find(name) || findDamaged(name)) {
      throw HostError(Failure::nameTaken, translate("a snapshot \"{0}\" exists already", name)).about(name);
    }
  }
}

void StateStore::addWithin(const Snapshot& snapshot) {
  requireUnknown(snapshot);
  write(snapshot);
}

void StateStore::update(const Snapshot& snapshot) {
  Transaction transaction(m_database);
  removeWithin(snapshot.id);
  write(snapshot);
  transaction.commit();
}

void StateStore::updatePhase(const Snapshot& snapshot) {
  evenOnFullDisk(m_database, [&] {
    Statement(m_database, "UPDATE snapshot SET phase = ? WHERE id = ?")
        .bind(phaseName(snapshot.phase))
        .bind(snapshot.id)
        .step();
  });
}

void StateStore::write(const Snapshot& snapshot) {
  Statement(m_database,
            "INSERT INTO snapshot (id, name, created, frozen_us, phase, boot_id, freeze_since_start_us, held, receipt)"
            " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)")
      .bind(snapshot.id)
      .bind(snapshot.name)
      .bind(std::int64_t{snapshot.created.time_since_epoch().count()})
      .bind(std::int64_t{snapshot.frozen.count()})
      .bind(phaseName(snapshot.phase))
      .bind(snapshot.freeze.bootId)
      .bind(std::int64_t{snapshot.freeze.sinceStart.count()})
      .bind(snapshot.held)
      .bind(receiptText(snapshot.receipt))
      .step();
  std::int64_t position = 0;
  for (const SnapshotNode& node : snapshot.nodes) {
    Statement(m_database,
              "INSERT INTO node (snapshot, position, mount_point, device, snapshot_device, volume_file, snapshot_file,"
              " alternate, state, alternate_state, provider, thaw_request, raw_device,"
              " kernel_timeout_s, splitter) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
        .bind(snapshot.id)
        .bind(position++)
        .bind(node.mountPoint)
        .bind(node.volume.device)
        .bind(node.volume.snapshotDevice)
        .bind(node.volume.volumeFile)
        .bind(node.volume.snapshotFile)
        .bind(node.alternate)
        .bind(node.state)
        .bind(node.alternateState)
        .bind(node.provider)
        .bind(static_cast<std::int64_t>(node.thawRequest))
        .bind(node.volume.rawDevice)
        .bind(std::int64_t{node.kernelTimeout.count()})
        .bind(node.volume.splitter)
        .step();
  }
}

void StateStore::remove(const std::string& id) {
  evenOnFullDisk(m_database, [&] { removeWithin(id); });
}

void StateStore::removeWithin(const std::string& id) {
  Statement(m_database, "DELETE FROM snapshot WHERE ifnull(CAST(id AS TEXT), '') = ?").bind(id).step();
}

std::vector<Snapshot> StateStore::snapshots() const {
  return soundOf(readAll(m_database));
}

std::optional<Snapshot> StateStore::find(const std::string& idOrName) const {
  return findIn(soundOf(readNamed(m_database, idOrName)), idOrName);
}

std::vector<DamagedSnapshot> StateStore::allSnapshots() const {
  return readAll(m_database);
}

std::vector<DamagedSnapshot> StateStore::damagedSnapshots() const {
  return damagedOf(readAll(m_database));
}

std::optional<DamagedSnapshot> StateStore::findDamaged(const std::string& idOrName) const {
  return findIn(damagedOf(readNamed(m_database, idOrName)), idOrName);
}

void StateStore::save(const DisabledAccess& access) {
  Statement(m_database, "REPLACE INTO disabled_access VALUES (?, ?, ?, ?)")
      .bind(access.mountPoint)
      .bind(access.provider)
      .bind(access.device)
      .bind(access.state)
      .step();
}

std::optional<DisabledAccess> StateStore::findDisabledAccess(const std::string& mountPoint) const {
  Statement row(m_database,
                "SELECT ifnull(CAST(mount_point AS TEXT), ''), provider, device, state FROM disabled_access"
                " WHERE ifnull(CAST(mount_point AS TEXT), '') = ?");
  row.bind(mountPoint);
  if (!row.step()) return std::nullopt;
  return readDisabledAccess(row);
}

std::vector<DisabledAccess> StateStore::disabledAccesses() const {
  Statement rows(m_database,
                 "SELECT ifnull(CAST(mount_point AS TEXT), ''), provider, device, state FROM disabled_access"
                 " ORDER BY 1");
  std::vector<DisabledAccess> accesses;
  while (rows.step()) accesses.push_back(readDisabledAccess(rows));
  return accesses;
}

void StateStore::removeDisabledAccess(const std::string& mountPoint) {
  evenOnFullDisk(m_database, [&] {
    Statement(m_database, "DELETE FROM disabled_access WHERE ifnull(CAST(mount_point AS TEXT), '') = ?")
        .bind(mountPoint)
        .step();
  });
}

}  // namespace qmfi_host
