// Tables of the state store.
#include "state/state_store.h"

#include <algorithm>

#include "failure/host_error.h"

namespace qmfi_host {

namespace {

constexpr const char* schema = R"(
  CREATE TABLE IF NOT EXISTS snapshot (
    id TEXT PRIMARY KEY, name TEXT NOT NULL UNIQUE, created INTEGER NOT NULL, frozen_us INTEGER NOT NULL,
    phase TEXT NOT NULL);
  CREATE TABLE IF NOT EXISTS node (
    snapshot TEXT NOT NULL REFERENCES snapshot (id) ON DELETE CASCADE, position INTEGER NOT NULL,
    mount_point TEXT NOT NULL, device TEXT NOT NULL, snapshot_device TEXT NOT NULL, volume_file TEXT NOT NULL,
    snapshot_file TEXT NOT NULL, alternate TEXT NOT NULL, state TEXT NOT NULL, alternate_state TEXT NOT NULL,
    provider TEXT NOT NULL, thaw_request INTEGER NOT NULL, raw_device TEXT NOT NULL, PRIMARY KEY (snapshot, position));
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

constexpr std::int64_t currentSchemaVersion = 2;

std::int64_t schemaVersion(const Database& database) {
  Statement version(database, "PRAGMA user_version");
  version.step();
  return version.number();
}

// Another process may have been quicker; only with the transaction is the version certain.
void bringUpToDate(Database& database) {
  if (schemaVersion(database) == currentSchemaVersion) return;
  Transaction transaction(database);
  if (schemaVersion(database) == 0) database.execute(schema);
  if (schemaVersion(database) == 1) {
    database.execute(fromVersionOne);
    Statement(database, "UPDATE node SET thaw_request = ?").bind(std::int64_t{FITHAW}).step();
  }
  database.execute("PRAGMA user_version = 2");
  transaction.commit();
}

Snapshot readSnapshot(Statement& row) {
  Snapshot snapshot;
  snapshot.id = row.text();
  snapshot.name = row.text();
  snapshot.created = Snapshot::Time(std::chrono::microseconds(row.number()));
  snapshot.frozen = std::chrono::microseconds(row.number());
  snapshot.phase = phaseOfName(row.text());
  return snapshot;
}

SnapshotNode readNode(Statement& row) {
  SnapshotNode node;
  node.mountPoint = row.text();
  node.volume.device = row.text();
  node.volume.snapshotDevice = row.text();
  node.volume.volumeFile = row.text();
  node.volume.snapshotFile = row.text();
  node.alternate = row.text();
  node.state = row.text();
  node.alternateState = row.text();
  node.provider = row.text();
  node.thawRequest = static_cast<unsigned long>(row.number());
  node.volume.rawDevice = row.text();
  return node;
}

}  // namespace

StateStore::StateStore(const std::filesystem::path& directory) : m_database(directory / "state.db") {
  // A store of a later version may mean other things by the same names.
  if (schemaVersion(m_database) > currentSchemaVersion) {
    throw HostError("the state store was made by a later version of qmfi");
  }
  bringUpToDate(m_database);
}

void StateStore::add(const Snapshot& snapshot) {
  Transaction transaction(m_database);
  for (const std::string& name : {snapshot.id, snapshot.name}) {
    if (find(name)) throw UsageError("a snapshot \"" + name + "\" exists already");
  }
  write(snapshot);
  transaction.commit();
}

void StateStore::update(const Snapshot& snapshot) {
  Transaction transaction(m_database);
  remove(snapshot.id);
  write(snapshot);
  transaction.commit();
}

void StateStore::write(const Snapshot& snapshot) {
  Statement(m_database, "INSERT INTO snapshot (id, name, created, frozen_us, phase) VALUES (?, ?, ?, ?, ?)")
      .bind(snapshot.id)
      .bind(snapshot.name)
      .bind(std::int64_t{snapshot.created.time_since_epoch().count()})
      .bind(std::int64_t{snapshot.frozen.count()})
      .bind(phaseName(snapshot.phase))
      .step();
  std::int64_t position = 0;
  for (const SnapshotNode& node : snapshot.nodes) {
    Statement(m_database,
              "INSERT INTO node (snapshot, position, mount_point, device, snapshot_device, volume_file, snapshot_file,"
              " alternate, state, alternate_state, provider, thaw_request, raw_device)"
              " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)")
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
        .step();
  }
}

void StateStore::remove(const std::string& id) {
  Statement(m_database, "DELETE FROM snapshot WHERE id = ?").bind(id).step();
}

// One statement sees one state, whatever another process writes meanwhile.
std::vector<Snapshot> StateStore::snapshots() const {
  Statement rows(m_database,
                 "SELECT id, name, created, frozen_us, phase, mount_point, device, snapshot_device,"
                 " volume_file, snapshot_file, alternate, state, alternate_state, provider, thaw_request, raw_device"
                 " FROM snapshot JOIN node ON node.snapshot = snapshot.id ORDER BY created, id, position");
  std::vector<Snapshot> snapshots;
  while (rows.step()) {
    Snapshot snapshot = readSnapshot(rows);
    if (snapshots.empty() || snapshots.back().id != snapshot.id) snapshots.push_back(std::move(snapshot));
    snapshots.back().nodes.push_back(readNode(rows));
  }
  return snapshots;
}

std::optional<Snapshot> StateStore::find(const std::string& idOrName) const {
  const std::vector<Snapshot> known = snapshots();
  auto found = std::find_if(known.begin(), known.end(), [&](const Snapshot& one) { return one.id == idOrName; });
  if (found == known.end()) {
    found = std::find_if(known.begin(), known.end(), [&](const Snapshot& one) { return one.name == idOrName; });
  }
  return found != known.end() ? std::optional<Snapshot>(*found) : std::nullopt;
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
  Statement row(m_database, "SELECT mount_point, provider, device, state FROM disabled_access WHERE mount_point = ?");
  row.bind(mountPoint);
  if (!row.step()) return std::nullopt;
  DisabledAccess access;
  access.mountPoint = row.text();
  access.provider = row.text();
  access.device = row.text();
  access.state = row.text();
  return access;
}

void StateStore::removeDisabledAccess(const std::string& mountPoint) {
  Statement(m_database, "DELETE FROM disabled_access WHERE mount_point = ?").bind(mountPoint).step();
}

}  // namespace qmfi_host
