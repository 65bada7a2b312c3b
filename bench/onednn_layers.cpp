#include "onednn_layers.h"

#include "support/vector/dispatch.h"

#include <oneapi/dnnl/dnnl.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <unordered_map>

namespace sorvane::bench {

namespace {

using Memory = dnnl::memory;
using Tag = Memory::format_tag;
using Arguments = std::unordered_map<int, Memory>;

const dnnl::engine& engine() {
    static const dnnl::engine instance = [] {
        switch (vector::kernels().lanes) {
        case 4:
            dnnl::set_max_cpu_isa(dnnl::cpu_isa::sse41);
            break;
        case 8:
            dnnl::set_max_cpu_isa(dnnl::cpu_isa::avx2);
            break;
        default:
            break;
        }
        return dnnl::engine(dnnl::engine::kind::cpu, 0);
    }();
    return instance;
}

Memory::desc floats(const Memory::dims& dims, Tag tag) {
    return {dims, Memory::data_type::f32, tag};
}

Memory filled(const Memory::desc& description) {
    Memory memory(description, engine());
    auto* values = static_cast<float*>(memory.get_data_handle());
    const std::size_t count = description.get_size() / sizeof(float);
    for (std::size_t i = 0; i < count; ++i)
        values[i] = static_cast<float>(i % 17) / 17.0F - 0.4F;
    return memory;
}

/// Adds a side, unless the primitive is reference code.
template <typename Primitive>
void addSide(std::vector<Side>& sides, const char* name,
             const typename Primitive::primitive_desc& description) {
    if (std::string(description.impl_info_str()).find("ref") != std::string::npos)
        return;
    const Arguments arguments = {{DNNL_ARG_SRC, filled(description.src_desc())},
                                 {DNNL_ARG_WEIGHTS, filled(description.weights_desc())},
                                 {DNNL_ARG_BIAS, filled(description.bias_desc())},
                                 {DNNL_ARG_DST, filled(description.dst_desc())}};
    const Primitive primitive(description);
    dnnl::stream stream(engine());
    sides.push_back(repeat(name, [=]() mutable {
        primitive.execute(stream, arguments);
        stream.wait();
    }));
}

/// Adds a convolution, or what else has its arguments, in one format of the data.
template <typename Primitive>
void addConvolution(std::vector<Side>& sides, const char* name, const ConvolutionShape& s, Tag tag,
                    dnnl::algorithm algorithm) {
    const Memory::dim groups = s.depthwise ? s.inChannels : 1;
    const Memory::dim outRows = s.transposed ? s.rows * s.strideF : s.rows / s.strideF;
    const Memory::dim before = (s.kernelF - s.strideF) / 2;
    const Memory::dim after = s.kernelF - s.strideF - before;
    Memory::dims weights = {s.outChannels / groups, s.inChannels / groups, s.kernelT, s.kernelF};
    if (s.depthwise)
        weights.insert(weights.begin(), groups);
    const Memory::dim inFrames = s.transposed ? 1 : s.kernelT;
    const Memory::dim outFrames = s.transposed ? s.kernelT : 1;
    try {
        const typename Primitive::desc description(
            dnnl::prop_kind::forward_inference, algorithm,
            floats({1, s.inChannels, inFrames, s.rows}, tag), floats(weights, Tag::any),
            floats({s.outChannels}, Tag::a), floats({1, s.outChannels, outFrames, outRows}, tag),
            {1, s.strideF}, {0, before}, {0, after});
        addSide<Primitive>(sides, name, {description, engine()});
    } catch (const dnnl::error&) {
        // It has no code for this shape in this format.
    }
}

} // namespace

double ConvolutionShape::multiplyAdds() const {
    const double steps = transposed ? rows : rows / strideF;
    return steps * kernelT * kernelF * outChannels * (depthwise ? 1 : inChannels);
}

std::vector<Side> oneDnnSides(const ConvolutionShape& shape) {
    constexpr std::array<std::pair<const char*, Tag>, 3> formats = {{
        {"oneDNN channels-last", Tag::nhwc},
        {"oneDNN blocks of 8", Tag::nChw8c},
        {"oneDNN blocks of 16", Tag::nChw16c},
    }};
    std::vector<Side> sides;
    for (const auto& [name, tag] : formats) {
        if (shape.transposed)
            addConvolution<dnnl::deconvolution_forward>(sides, name, shape, tag,
                                                        dnnl::algorithm::deconvolution_direct);
        else
            addConvolution<dnnl::convolution_forward>(sides, name, shape, tag,
                                                      dnnl::algorithm::convolution_direct);
    }
    return sides;
}

std::vector<Side> oneDnnMatrixSides(int rows) {
    const dnnl::inner_product_forward::desc description(
        dnnl::prop_kind::forward_inference, floats({1, rows}, Tag::nc),
        floats({rows, rows}, Tag::any), floats({rows}, Tag::a), floats({1, rows}, Tag::nc));
    std::vector<Side> sides;
    addSide<dnnl::inner_product_forward>(sides, "oneDNN", {description, engine()});
    return sides;
}

} // namespace sorvane::bench
