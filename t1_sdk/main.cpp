// boardtest: the factory peripheral test server of a network camera's main board.
#include "t1_sdk/boardtest/service/server.h"

int main(int /*argc*/, char** /*argv*/) {
  return boardtest::run_server();
}
