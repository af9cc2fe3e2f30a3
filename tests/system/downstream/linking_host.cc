// A host that links the module: nothing is looked up at run time.
// usage: linking_host URL DIRECTORY
#include <mtllib/downloader_interface.h>

#include "../../fakes/silent_callback.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  DownloaderInterface mtllib;
  initDownloaderInterface(&mtllib);
  NetworkContext* network = mtllib.createNetworkContext();
  SilentCallback callback;
  DownloaderSettings settings;
  settings.remoteAddress = argv[1];
  settings.targetDirectory = argv[2];
  DownloaderImpl* downloader = mtllib.createDownloader(&callback, &settings);
  const int result = mtllib.runDownload(downloader);
  mtllib.destroyDownloader(downloader);
  mtllib.destroyNetworkContext(network);
  return result == 0 ? 0 : 1;
}
