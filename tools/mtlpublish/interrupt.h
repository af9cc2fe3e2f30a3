// Ctrl-C and its kin.
#ifndef MTLLIB_TOOLS_MTLPUBLISH_INTERRUPT_H_
#define MTLLIB_TOOLS_MTLPUBLISH_INTERRUPT_H_

namespace mtlpublish {

/// From now on an interrupt or a request to terminate ends the program at once, with the
/// exit status 0. A signal that was ignored stays so.
void endWhenInterrupted();

}  // namespace mtlpublish

#endif  // MTLLIB_TOOLS_MTLPUBLISH_INTERRUPT_H_
