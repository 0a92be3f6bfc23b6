// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// Everything that a file or a peer can make us hold or do has its limit here, and each limit is tested at its value
/// and one above.
namespace vanto::limits {

// Property lists.
inline constexpr std::size_t propertyListFileBytes = std::size_t{64} << 20;
/// Containers inside containers; the outermost counts 1.
inline constexpr std::size_t propertyListNesting = 512;

// Machine-wide settings.
inline constexpr std::size_t policyFileBytes = std::size_t{1} << 20;

// The system log.
/// What one line shows of a text from elsewhere.
inline constexpr std::size_t logTextBytes = std::size_t{8} << 10;

// Messages between processes.
/// Encoded messages up to this size travel in one frame, larger ones in chunks of at most this size.
inline constexpr std::size_t ipcInlineBytes = std::size_t{64} << 10;
inline constexpr std::size_t ipcMessageBytes = std::size_t{64} << 20;
/// What the messages in chunks of one user hold over all connections, from their first frame until they were dealt
/// with: as much as sixteen of the largest. Once each connection had a bound of its own only.
inline constexpr std::size_t ipcChunkedBytesPerUser = std::size_t{1} << 30;
/// Containers inside containers; the outermost counts 1.
inline constexpr std::size_t ipcNesting = 128;
/// Descriptors of one message.
inline constexpr std::size_t ipcDescriptors = 16;
/// Descriptors of the messages and requests that one connection has in hand: with so many or more no further message
/// may begin. Once only their bytes counted; then one client could take all descriptors of a process.
inline constexpr std::size_t ipcDescriptorsInHand = 64;
/// Requests on one connection whose replies are outstanding.
inline constexpr std::size_t ipcPendingReplies = 256;
/// What may wait to be sent on one connection, and what may be under way to its other end: this many messages, and this
/// many bytes, of which no message counts as more than half. Once one message of any size was all; then nothing passed
/// it.
inline constexpr std::size_t ipcSendQueueMessages = 256;
inline constexpr std::size_t ipcSendQueueBytes = std::size_t{1} << 20;
/// The text of a refusal.
inline constexpr std::size_t ipcRefusalTextBytes = 1024;
inline constexpr std::uint64_t ipcGreetingNanoseconds = 5'000'000'000;
/// How long a connection that its user has closed goes on sending what was queued, and a process that ends waits for a
/// peer that takes nothing of it.
inline constexpr std::uint64_t ipcClosingNanoseconds = 5'000'000'000;
/// Default of the connections that one user may hold open to a service; also bounded by 3/4 of the descriptor limit.
inline constexpr std::size_t ipcConnectionsPerUser = 1024;
/// What the sealed memory under one data object may hold.
inline constexpr std::size_t ipcSealedDataBytes = std::size_t{1} << 30;
/// The description of an object for people: its length, and the containers inside containers that it shows.
inline constexpr std::size_t ipcDescriptionBytes = std::size_t{8} << 10;
inline constexpr std::size_t ipcDescriptionNesting = 16;
/// Listening sockets that a manager hands over. More than this no manager has reason to.
inline constexpr int ipcInheritedListeners = 64;
/// A socket file name; the limit of the file systems.
inline constexpr std::size_t ipcSocketNameBytes = 255;

// Job data.
/// A job as bytes.
inline constexpr std::size_t jobDataBytes = std::size_t{1} << 20;
/// Containers inside containers in a job as bytes; the outermost counts 1. That of messages, in which jobs travel too.
inline constexpr std::size_t jobDataNesting = ipcNesting;
/// The description of job data for people.
inline constexpr std::size_t jobDataDescriptionBytes = ipcDescriptionBytes;
inline constexpr std::size_t jobDataDescriptionNesting = ipcDescriptionNesting;

// Sandbox profiles.
inline constexpr std::size_t profileBytes = std::size_t{1} << 20;
inline constexpr std::size_t profileLineBytes = std::size_t{64} << 10;
/// A path with its parameters: one less than the kernel takes with the NUL behind it.
inline constexpr std::size_t profilePathBytes = 4095;
/// Paths and ports that statements name, base profiles included. With long parameters a profile could ask for a
/// thousand times its size.
inline constexpr std::size_t profileGrants = 4096;
/// Ports in one range.
inline constexpr std::size_t profilePortRange = 64;
/// Errors of one profile that are kept; further ones are counted.
inline constexpr std::size_t profileErrors = 100;
/// The receipt of a confined process as text. It travels in one packet, for which every manager has room.
inline constexpr std::size_t receiptBytes = 3900;

// The service manager.
/// Jobs of one manager: each has a socket, so a descriptor, even while nothing of it runs.
inline constexpr std::size_t managerJobs = 1024;
/// Of what the services of one job write: bytes of the lines that are kept, and of one line.
inline constexpr std::size_t managerLogBytes = std::size_t{64} << 10;
inline constexpr std::size_t managerLogLineBytes = std::size_t{1} << 10;
/// Datagrams of one service's log that are read before others have their turn.
inline constexpr int managerLogTurn = 16;
/// Records that are read from one service's link within a second: what one that uses the library says in its whole life
/// is half a dozen, and that it is idle at most once a second.
inline constexpr int managerLinkRecords = 64;
/// Clients that are told at one time why they are not served: more than kernels let wait at one socket.
inline constexpr int managerRefusals = 8192;
/// Connections that one user may have open to the manager.
inline constexpr std::size_t managerConnectionsPerUser = 64;

// Jobs and their processes.
/// The path of a service's executable; one less than what the system takes, which counts the NUL.
inline constexpr std::size_t jobProgramBytes = 4095;
/// Processes of one job that have not ended.
inline constexpr std::size_t instancesPerJob = 16;
/// Instances, over all jobs of a manager that have one for each connection, of the connections of one user.
inline constexpr std::size_t instancesPerUser = 64;

// Code identity.
/// A requirement text.
inline constexpr std::size_t requirementBytes = std::size_t{64} << 10;
/// Parentheses and "not" inside one another.
inline constexpr std::size_t requirementNesting = 64;
/// Compiled requirements that a process keeps.
inline constexpr std::size_t requirementsKept = 256;
/// What the code-signing service says of a process: each identifier, name and reason, the names of the signer, and the
/// entitlements as a document. A signature holds no more than the last.
inline constexpr std::size_t codeTextBytes = std::size_t{4} << 10;
inline constexpr std::size_t codeSignerNames = 64;
inline constexpr std::size_t codeEntitlementsBytes = std::size_t{1} << 20;
/// Codes, requirements and errors that the judgement of one client may be handed out.
inline constexpr std::size_t codeObjectsPerPeer = std::size_t{16} << 10;
/// How long a service waits for what the code-signing service says of a client, with the connection to it.
inline constexpr std::uint64_t codeNanoseconds = 2'000'000'000;

}  // namespace vanto::limits
