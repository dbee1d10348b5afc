/* Mach port names for the Apple Event transport. A port name stands for a reply channel owned
   by this process: a receive right given to AESendMessage in the 'repp' attribute carries the
   reply of that exchange, and destroying the name closes whatever it owns. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef unsigned int natural_t;
typedef int integer_t;
typedef int kern_return_t;

typedef natural_t mach_port_name_t;
typedef mach_port_name_t mach_port_t;
typedef mach_port_t ipc_space_t;
typedef mach_port_t task_t;
typedef natural_t mach_port_right_t;

#define MACH_PORT_NULL ((mach_port_t)0)
#define MACH_PORT_DEAD ((mach_port_t)~0U)
#define MACH_PORT_VALID(name) ((name) != MACH_PORT_NULL && (name) != MACH_PORT_DEAD)

#define MACH_PORT_RIGHT_SEND ((mach_port_right_t)0)
#define MACH_PORT_RIGHT_RECEIVE ((mach_port_right_t)1)
#define MACH_PORT_RIGHT_SEND_ONCE ((mach_port_right_t)2)
#define MACH_PORT_RIGHT_PORT_SET ((mach_port_right_t)3)
#define MACH_PORT_RIGHT_DEAD_NAME ((mach_port_right_t)4)
#define MACH_PORT_RIGHT_NUMBER ((mach_port_right_t)5)

#define KERN_SUCCESS 0
#define KERN_INVALID_ARGUMENT 4
#define KERN_FAILURE 5
#define KERN_RESOURCE_SHORTAGE 6
#define KERN_INVALID_NAME 15
#define KERN_INVALID_TASK 16
#define KERN_INVALID_RIGHT 17
#define KERN_INVALID_VALUE 18

/* The calling task's own name; the only task these calls accept. */
extern mach_port_t mach_task_self_;
#define mach_task_self() mach_task_self_

/* Allocates a fresh name holding a RECEIVE, PORT_SET or DEAD_NAME right (others:
   KERN_INVALID_VALUE). Names are never 0 or ~0 and are not reused while the process lives. */
kern_return_t mach_port_allocate(ipc_space_t task, mach_port_right_t right, mach_port_name_t* name);
/* Frees the name with all its rights and closes the channel it owns (KERN_INVALID_NAME when
   unknown). A channel in use by a send still in progress is closed when that send ends. */
kern_return_t mach_port_destroy(ipc_space_t task, mach_port_name_t name);
/* Releases a dead name; a name holding a receive right needs mach_port_destroy
   (KERN_INVALID_RIGHT). */
kern_return_t mach_port_deallocate(ipc_space_t task, mach_port_name_t name);

#ifdef __cplusplus
}
#endif
