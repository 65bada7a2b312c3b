// The same in C++: usage: survivor MODEL...

#include <cstdio>
#include <sorvane_host.hpp>

namespace host = sorvane::host;

int main(int argc, char** argv) {
    int refused = 0;
    int raised = 0;
    for (int i = 1; i < argc; ++i)
        try {
            const host::Model model(argv[i]);
            host::Stream stream(model, 2, model.info().sampleRate);
            host::Blocks blocks(model, 2, 48000.0);
            std::vector<float> audio(20000, 0.25F);
            stream.push(audio);
            blocks.process(audio);
            stream.finish();
            if (stream.pull(audio) != 10000)
                return 1;
        } catch (const host::Error& error) {
            ++(error.status() == SORVANE_HOST_BAD_MODEL ? refused : raised);
        }
    std::printf("%d refused, %d raised\n", refused, raised);
    return 0;
}
