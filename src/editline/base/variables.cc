// The variables of the readline interface.
#include "editline/base/variables.h"

namespace lineedit {

FILE *rl_instream;
FILE *rl_outstream;
const char *rl_readline_name = "";
rl_getc_func_t *rl_getc_function;
rl_input_available_func_t *rl_input_available_hook;
char *rl_line_buffer;
int rl_point;
int rl_end;
int rl_done;
rl_completion_func_t *rl_attempted_completion_function;
int rl_attempted_completion_over;
int rl_inhibit_completion;
int rl_completion_invoking_key;

}  // namespace lineedit
