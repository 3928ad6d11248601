/** @file
 *  The library for C++20: values that move, views that do not own, a loop. Header only, on the C interface alone; nothing
 *  more to link and nothing more on the wire.
 *
 *  @code
 *  #include <vos/vos.hpp>
 *  using namespace std::chrono_literals;
 *
 *  int main() {
 *      vos::Connection hub = vos::Connection::open("meshd").value();
 *      const vos::Log log{hub.eid()};
 *      vos::Loop loop{hub};                                       // SIGTERM and SIGINT end run()
 *      uint32_t nodes = 0;
 *
 *      loop.every(1s, [&] { hub.heartbeat(); });
 *      loop.serve(MSG_MESH, MESH_ADD, [&](const vos::Request &request) {       // a numbered procedure
 *          const auto node = request.as<MeshNode>();                           // nothing, if the size is another
 *          if (!node) return request.fail(VOS_RET_BAD_ARG);
 *          hub.publish(MSG_MESH_CHANGED, ++nodes, *node);                      // an event to all who subscribed
 *          VOS_LOG_NOTICE("%u nodes", nodes);                                  // named after main()
 *          request.reply(nodes);                                               // the payload: 4 bytes
 *      });
 *
 *      hub.subscribe(MSG_LINK_CHANGED).value();
 *      loop.on(MSG_LINK_CHANGED, [&](const vos::MessageView &event) { linkIs(event.word()); });
 *
 *      // Requests: waiting; with a callback; in a coroutine.
 *      const auto peer = hub.lookUp("topod").value_or(0);
 *      const auto topology = hub.ask({.to = peer, .type = MSG_TOPOLOGY, .patience = 2s});
 *      if (!topology) VOS_LOG_ERROR("no topology: %s", topology.message());
 *      auto call = loop.ask({.to = peer, .type = MSG_TOPOLOGY}, [&](vos::Result<vos::Message> reply) { … });
 *      [](vos::Loop &loop, VosEntityId peer) -> vos::Flow {
 *          const auto reply = co_await loop.ask({.to = peer, .type = MSG_TOPOLOGY});
 *      }(loop, peer).detach();                                    // call and Flow cancel when they go away
 *
 *      loop.task([] { return measure(); }, [&](Load load) { … }); // a thread, then the loop
 *      loop.spawn(vos::Command{"/sbin/ip", "link"}, [&](const vos::Ended &child) { … });
 *      loop.watch(fd, EPOLLIN, [&](uint32_t) { … });
 *      loop.onSignal(SIGHUP, [&] { reload(); });
 *      return loop.run();                                         // 1 when the hub is gone
 *  }
 *  @endcode
 *
 *  **Failure.** What can fail returns vos::Result: a value or a VosRet with its text. Nothing throws but value() and the
 *  standard library's own; handlers may, and what they throw comes out of run(). All of it works with `-fno-exceptions
 *  -fno-rtti`; value() then aborts. Nothing is thrown through the library.
 *
 *  **Ends.** A payload of another size is an empty as<T>(). A reply that nobody waits for is dropped and counted. A
 *  request to nobody, a time-out and a hub that is gone are codes of the Result. A request whose handler does not answer,
 *  or throws, is answered VOS_RET_ERROR.
 *
 *  **Threads.** A connection and its loop belong to one thread; none is started but by task().
 *
 *  **Left to the C interface**, because a class around them would only rename them: text, codecs, digests, LZW, XML, UTF-8,
 *  GB18030, addresses, DNS, interfaces, files, load, NFC, plug-ins, security, password and entities (functions without
 *  state); hash map, list and vector (the standard library has them); pool and memory (used through Message and
 *  SharedMemory); vos/tmr.h and vos/srpc.h (the loop is both); the standard descriptors of vos/log.h.
 */
#ifndef VOS_VOS_HPP
#define VOS_VOS_HPP

#if __cplusplus < 202002L
#error "vos/vos.hpp needs C++20"
#endif

#include "vos/hpp/log.hpp"
#include "vos/hpp/loop.hpp"
#include "vos/hpp/shared.hpp"
#include "vos/vos.h"

#endif
